#include "platform/linux/PillSymbols.h"

#include <cmath>

namespace selvar::PillSymbols {

namespace {

// Each symbol is drawn in a unit box (0…1 both ways) scaled into place.
void microphone(cairo_t *cr) {
  const double w = 0.3, top = 0.14, bottom = 0.6;
  cairo_new_sub_path(cr);
  cairo_arc(cr, 0.5, top + w / 2, w / 2, M_PI, 2 * M_PI);
  cairo_arc(cr, 0.5, bottom - w / 2, w / 2, 0, M_PI);
  cairo_close_path(cr);
  cairo_fill(cr);
  cairo_set_line_width(cr, 0.07);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_arc(cr, 0.5, 0.47, 0.25, 0, M_PI);
  cairo_move_to(cr, 0.5, 0.72);
  cairo_line_to(cr, 0.5, 0.86);
  cairo_move_to(cr, 0.36, 0.86);
  cairo_line_to(cr, 0.64, 0.86);
  cairo_stroke(cr);
}

void warningTriangle(cairo_t *cr) {
  cairo_move_to(cr, 0.5, 0.1);
  cairo_line_to(cr, 0.94, 0.88);
  cairo_line_to(cr, 0.06, 0.88);
  cairo_close_path(cr);
  cairo_fill(cr);
  // The exclamation mark is cut out of the triangle.
  cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
  cairo_set_line_width(cr, 0.1);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  cairo_move_to(cr, 0.5, 0.38);
  cairo_line_to(cr, 0.5, 0.6);
  cairo_stroke(cr);
  cairo_arc(cr, 0.5, 0.75, 0.055, 0, 2 * M_PI);
  cairo_fill(cr);
}

void speechBubble(cairo_t *cr) {
  cairo_new_sub_path(cr);
  cairo_arc(cr, 0.5, 0.45, 0.4, 0, 2 * M_PI);
  cairo_fill(cr);
  cairo_move_to(cr, 0.2, 0.66);
  cairo_line_to(cr, 0.1, 0.92);
  cairo_line_to(cr, 0.42, 0.8);
  cairo_close_path(cr);
  cairo_fill(cr);
  cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
  for (double x : {0.3, 0.5, 0.7}) {
    cairo_arc(cr, x, 0.45, 0.06, 0, 2 * M_PI);
    cairo_fill(cr);
  }
}

} // namespace

void paint(cairo_t *cr, std::string_view name, Rect box, double r, double g, double b) {
  void (*draw)(cairo_t *) = nullptr;
  if (name == "mic.fill")
    draw = microphone;
  else if (name == "exclamationmark.triangle.fill")
    draw = warningTriangle;
  else if (name == "ellipsis.bubble.fill")
    draw = speechBubble;
  if (!draw) return;
  // Cut-outs clear only the symbol's own group, then the group lands on the pill.
  cairo_save(cr);
  cairo_push_group(cr);
  cairo_translate(cr, box.minX(), box.minY());
  cairo_scale(cr, box.size.width, box.size.height);
  cairo_set_source_rgb(cr, r, g, b);
  draw(cr);
  cairo_pop_group_to_source(cr);
  cairo_paint(cr);
  cairo_restore(cr);
}

} // namespace selvar::PillSymbols
