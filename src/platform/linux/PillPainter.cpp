#include "platform/linux/PillPainter.h"

#include "platform/linux/PillSymbols.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <pango/pangocairo.h>

namespace selvar {

namespace {

struct Metrics {
  double padX, padY, symbol, symbolGap, stateFont, meterGap, barWidth, barGap, meterHeight;
};
constexpr Metrics kFull{16, 10, 26, 10, 14, 14, 3, 2, 30};
constexpr Metrics kMini{10, 7, 18, 7, 12, 10, 2, 1.5, 18};
constexpr double kHintFont = 11;
constexpr double kQuestionFont = 12;
constexpr double kLineGap = 2;
constexpr double kQuestionGap = 6;

const Metrics &metrics(HUDPreference style) {
  return style == HUDPreference::mini ? kMini : kFull;
}

struct Rgba {
  double r, g, b, a;
};

Rgba tintColor(HUDTint tint, HUDMaterial material) {
  switch (tint) {
  case HUDTint::orange:
    return {1.0, 0.62, 0.04, 1};
  case HUDTint::red:
    return {1.0, 0.27, 0.23, 1};
  case HUDTint::accent:
    return {0.04, 0.52, 1.0, 1};
  case HUDTint::secondary:
    break;
  }
  return material == HUDMaterial::glass ? Rgba{0.42, 0.42, 0.47, 1} : Rgba{0.66, 0.66, 0.72, 1};
}

Rgba surfaceColor(HUDMaterial material) {
  return material == HUDMaterial::glass ? Rgba{0.96, 0.96, 0.98, 0.9}
                                        : Rgba{0.06, 0.06, 0.09, 0.94};
}

Rgba textColor(HUDMaterial material, double alpha) {
  return material == HUDMaterial::glass ? Rgba{0.1, 0.1, 0.12, alpha} : Rgba{1, 1, 1, alpha};
}

void setColor(cairo_t *cr, Rgba c) {
  cairo_set_source_rgba(cr, c.r, c.g, c.b, c.a);
}

using LayoutPtr = std::unique_ptr<PangoLayout, decltype(&g_object_unref)>;

// Sizes are absolute so that one point is one logical pixel, as everywhere else in the pill.
LayoutPtr textLayout(PangoContext *context, const std::string &text, double size, bool bold) {
  LayoutPtr layout(pango_layout_new(context), g_object_unref);
  PangoFontDescription *font = pango_font_description_from_string(bold ? "Sans Bold" : "Sans");
  pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
  pango_layout_set_font_description(layout.get(), font);
  pango_font_description_free(font);
  pango_layout_set_text(layout.get(), text.c_str(), -1);
  return layout;
}

Size textSize(PangoLayout *layout) {
  int w = 0, h = 0;
  pango_layout_get_pixel_size(layout, &w, &h);
  return {double(w), double(h)};
}

PangoContext *measuringContext() {
  static PangoContext *context = pango_font_map_create_context(pango_cairo_font_map_get_default());
  return context;
}

Size measure(const std::string &text, double size, bool bold) {
  if (text.empty()) return {};
  return textSize(textLayout(measuringContext(), text, size, bold).get());
}

void roundedRect(cairo_t *cr, Rect r, double radius) {
  radius = std::clamp(radius, 0.0, std::min(r.size.width, r.size.height) / 2);
  const double x = r.minX(), y = r.minY(), w = r.size.width, h = r.size.height;
  cairo_new_sub_path(cr);
  cairo_arc(cr, x + w - radius, y + radius, radius, -M_PI / 2, 0);
  cairo_arc(cr, x + w - radius, y + h - radius, radius, 0, M_PI / 2);
  cairo_arc(cr, x + radius, y + h - radius, radius, M_PI / 2, M_PI);
  cairo_arc(cr, x + radius, y + radius, radius, M_PI, 3 * M_PI / 2);
  cairo_close_path(cr);
}

std::optional<Rgba> outlineColor(const PillContent &content) {
  switch (content.outline.kind) {
  case PillOutline::Kind::none:
    return std::nullopt;
  case PillOutline::Kind::black:
    return Rgba{0, 0, 0, 1};
  case PillOutline::Kind::custom:
    if (auto c = parseHexColor(content.outline.hex)) return Rgba{c->red, c->green, c->blue, 1};
    break;
  case PillOutline::Kind::tint:
    break;
  }
  Rgba tint = tintColor(content.look.tint, content.material);
  tint.a = 0.85;
  return tint;
}

void paintSurface(cairo_t *cr, const PillContent &content, Size size, double radius) {
  const Rect bounds{{0, 0}, size};
  cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
  cairo_set_source_rgba(cr, 0, 0, 0, 0);
  cairo_paint(cr);
  cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
  roundedRect(cr, bounds, radius);
  setColor(cr, surfaceColor(content.material));
  cairo_fill(cr);
  auto outline = outlineColor(content);
  if (!outline) return;
  // A recording gets a heavier ring so the pill reads as live from the corner of the eye.
  const double width = content.look.kind == HUDStateKind::listening ? 2.0 : 1.25;
  roundedRect(cr, {{width / 2, width / 2}, {size.width - width, size.height - width}},
              radius - width / 2);
  cairo_set_line_width(cr, width);
  setColor(cr, *outline);
  cairo_stroke(cr);
}

void paintText(cairo_t *cr, Rect at, const std::string &text, double size, bool bold, Rgba color) {
  LayoutPtr layout(pango_cairo_create_layout(cr), g_object_unref);
  LayoutPtr measured = textLayout(pango_layout_get_context(layout.get()), text, size, bold);
  cairo_move_to(cr, at.minX(), at.minY());
  setColor(cr, color);
  pango_cairo_show_layout(cr, measured.get());
}

// The bars shimmer along the meter with the model's phase; heights stay exactly the levels.
void paintMeter(cairo_t *cr, const PillContent &content, const PillLayout &layout) {
  const Rgba tint = tintColor(content.look.tint, content.material);
  for (std::size_t i = 0; i < HUDModel::kBandCount; ++i) {
    const Rect bar = PillPainter::barRect(layout, i, content.bands[i]);
    const double wave = 0.5 + 0.5 * std::sin(content.phase * 0.5 - double(i) * 0.35);
    roundedRect(cr, bar, layout.barWidth / 2);
    cairo_set_source_rgba(cr, tint.r, tint.g, tint.b, 0.6 + 0.4 * wave);
    cairo_fill(cr);
  }
}

} // namespace

PillContent PillContent::from(const HUDModel &model) {
  PillContent c;
  c.state = model.state();
  c.question = model.question();
  c.look = model.presentation();
  if (c.look.kind == HUDStateKind::listening) c.hint = model.hint();
  c.style = model.style();
  c.material = model.material();
  c.outline = Prefs::pillOutline();
  c.bands = model.bands();
  c.phase = model.phase();
  return c;
}

namespace PillPainter {

PillLayout layout(const PillContent &content) {
  const Metrics &m = metrics(content.style);
  const bool mini = content.style == HUDPreference::mini;
  PillLayout out;
  out.barWidth = m.barWidth;
  out.barGap = m.barGap;
  const Size state = measure(content.state, m.stateFont, true);
  const Size hint = mini ? Size{} : measure(content.hint, kHintFont, false);
  const Size question = content.question ? measure(*content.question, kQuestionFont, true) : Size{};
  const double textHeight = state.height + (hint.height > 0 ? kLineGap + hint.height : 0);
  const double rowHeight = std::max({m.symbol, textHeight, m.meterHeight});

  double x = m.padX;
  if (!content.look.symbol.empty()) {
    out.symbol = Rect{{x, m.padY + (rowHeight - m.symbol) / 2}, {m.symbol, m.symbol}};
    x += m.symbol + m.symbolGap;
  }
  const double textLeft = x;
  const double textTop = m.padY + (rowHeight - textHeight) / 2;
  if (state.width > 0) out.stateText = Rect{{x, textTop}, state};
  if (hint.width > 0) out.hint = Rect{{x, textTop + state.height + kLineGap}, hint};
  const double textWidth = std::max(state.width, hint.width);
  if (textWidth > 0) x += textWidth + m.meterGap;
  const double meterWidth =
      HUDModel::kBandCount * m.barWidth + (HUDModel::kBandCount - 1) * m.barGap;
  out.meter = Rect{{x, m.padY + (rowHeight - m.meterHeight) / 2}, {meterWidth, m.meterHeight}};
  double width = x + meterWidth + m.padX;
  double height = m.padY + rowHeight + m.padY;
  if (question.width > 0) {
    out.question = Rect{{textLeft, m.padY + rowHeight + kQuestionGap}, question};
    width = std::max(width, textLeft + question.width + m.padX);
    height += kQuestionGap + question.height;
  }
  out.size = {std::ceil(width), std::ceil(height)};
  return out;
}

Rect barRect(const PillLayout &layout, std::size_t band, double level) {
  const Rect &meter = layout.meter;
  const double minimum = layout.barWidth;
  const double height = minimum + (meter.size.height - minimum) * std::clamp(level, 0.0, 1.0);
  const double x = meter.minX() + double(band) * (layout.barWidth + layout.barGap);
  return {{x, meter.midY() - height / 2}, {layout.barWidth, height}};
}

void paint(cairo_t *cr, const PillContent &content, const PillLayout &layout, double cornerRadius) {
  cairo_save(cr);
  paintSurface(cr, content, layout.size, cornerRadius);
  const Rgba tint = tintColor(content.look.tint, content.material);
  if (layout.symbol)
    PillSymbols::paint(cr, content.look.symbol, *layout.symbol, tint.r, tint.g, tint.b);
  const Metrics &m = metrics(content.style);
  if (layout.stateText)
    paintText(cr, *layout.stateText, content.state, m.stateFont, true,
              textColor(content.material, 1));
  if (layout.hint)
    paintText(cr, *layout.hint, content.hint, kHintFont, false, textColor(content.material, 0.6));
  if (layout.question && content.question)
    paintText(cr, *layout.question, *content.question, kQuestionFont, true, tint);
  paintMeter(cr, content, layout);
  cairo_restore(cr);
}

void fillShape(cairo_t *cr, Size size, double cornerRadius) {
  roundedRect(cr, {{0, 0}, size}, cornerRadius);
  cairo_fill(cr);
}

} // namespace PillPainter

} // namespace selvar
