#include "platform/linux/CairoIconRenderer.h"

#include <cairo.h>
#include <cmath>
#include <memory>

namespace selvar {

namespace {

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;
using Pattern = std::unique_ptr<cairo_pattern_t, decltype(&cairo_pattern_destroy)>;

void roundedRect(cairo_t *cr, double x, double y, double w, double h, double r) {
  cairo_new_sub_path(cr);
  cairo_arc(cr, x + w - r, y + r, r, -M_PI / 2, 0);
  cairo_arc(cr, x + w - r, y + h - r, r, 0, M_PI / 2);
  cairo_arc(cr, x + r, y + h - r, r, M_PI / 2, M_PI);
  cairo_arc(cr, x + r, y + r, r, M_PI, 3 * M_PI / 2);
  cairo_close_path(cr);
}

Pattern neonGradient(double x0, double x1) {
  Pattern p(cairo_pattern_create_linear(x0, 0, x1, 0), cairo_pattern_destroy);
  cairo_pattern_add_color_stop_rgb(p.get(), 0, 1.0, 0.17, 0.84); // magenta
  cairo_pattern_add_color_stop_rgb(p.get(), 1, 0.13, 0.90, 1.0); // cyan
  return p;
}

// Vertical bars centred on (cx, cy), drawn as round-capped strokes.
void meterBars(cairo_t *cr, double cx, double cy, const double *heights, int count, double spacing,
               double width) {
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_width(cr, width);
  double x = cx - spacing * (count - 1) / 2;
  for (int i = 0; i < count; ++i, x += spacing) {
    double half = std::max(heights[i] / 2 - width / 2, 0.001);
    cairo_move_to(cr, x, cy - half);
    cairo_line_to(cr, x, cy + half);
  }
  cairo_stroke(cr);
}

void drawTile(cairo_t *cr) {
  roundedRect(cr, 0.06, 0.06, 0.88, 0.88, 0.2);
  Pattern bg(cairo_pattern_create_linear(0, 0.06, 0, 0.94), cairo_pattern_destroy);
  cairo_pattern_add_color_stop_rgb(bg.get(), 0, 0.16, 0.08, 0.35);
  cairo_pattern_add_color_stop_rgb(bg.get(), 1, 0.05, 0.04, 0.14);
  cairo_set_source(cr, bg.get());
  cairo_fill_preserve(cr);
  cairo_set_source_rgba(cr, 1, 1, 1, 0.08);
  cairo_set_line_width(cr, 0.01);
  cairo_stroke(cr);
}

void drawPill(cairo_t *cr) {
  const double x = 0.19, y = 0.37, w = 0.62, h = 0.26, r = 0.13;
  Pattern neon = neonGradient(x, x + w);
  roundedRect(cr, x, y, w, h, r);
  cairo_set_source_rgba(cr, 0.04, 0.03, 0.12, 0.9);
  cairo_fill_preserve(cr);
  cairo_set_source(cr, neon.get());
  cairo_set_line_width(cr, 0.07); // soft glow under the outline
  cairo_push_group(cr);
  cairo_stroke_preserve(cr);
  cairo_pop_group_to_source(cr);
  cairo_paint_with_alpha(cr, 0.22);
  cairo_set_source(cr, neon.get());
  cairo_set_line_width(cr, 0.028);
  cairo_stroke(cr);
  const double heights[] = {0.06, 0.11, 0.16, 0.18, 0.13, 0.09, 0.05};
  cairo_set_source(cr, neon.get());
  meterBars(cr, 0.5, 0.5, heights, 7, 0.062, 0.034);
}

void drawGlyph(cairo_t *cr) {
  cairo_set_source_rgba(cr, 0, 0, 0, 1);
  roundedRect(cr, 0.08, 0.25, 0.84, 0.5, 0.25);
  cairo_set_line_width(cr, 0.09);
  cairo_stroke(cr);
  const double heights[] = {0.16, 0.3, 0.2};
  meterBars(cr, 0.5, 0.5, heights, 3, 0.17, 0.09);
}

template <typename Draw>
std::optional<std::string> render(const std::filesystem::path &file, int pixels, Draw draw) {
  if (pixels <= 0) return "invalid size " + std::to_string(pixels);
  Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixels, pixels),
                  cairo_surface_destroy);
  Context cr(cairo_create(surface.get()), cairo_destroy);
  cairo_scale(cr.get(), pixels, pixels);
  draw(cr.get());
  cairo_surface_flush(surface.get());
  if (auto status = cairo_status(cr.get()); status != CAIRO_STATUS_SUCCESS)
    return std::string("drawing failed: ") + cairo_status_to_string(status);
  auto status = cairo_surface_write_to_png(surface.get(), file.c_str());
  if (status != CAIRO_STATUS_SUCCESS)
    return "cannot write " + file.string() + ": " + cairo_status_to_string(status);
  return std::nullopt;
}

} // namespace

std::optional<std::string> CairoIconRenderer::writeAppIcon(const std::filesystem::path &file,
                                                           int pixels) {
  return render(file, pixels, [](cairo_t *cr) {
    drawTile(cr);
    drawPill(cr);
  });
}

std::optional<std::string> CairoIconRenderer::writeStatusGlyph(const std::filesystem::path &file,
                                                               int pixels) {
  return render(file, pixels, drawGlyph);
}

} // namespace selvar
