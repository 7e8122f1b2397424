#pragma once
// Lays out and paints the pill with Cairo and Pango: the rounded surface, the state symbol in
// its tint, the state text, the hint and question lines, and the 28-bar meter. Pure drawing:
// no window, so it works on any Cairo surface.

#include "app/Prefs.h"
#include "hud/HUDModel.h"
#include "hud/HUDPresentation.h"
#include "support/Geometry.h"

#include <cairo.h>
#include <optional>
#include <string>

namespace selvar {

// Everything one frame of the pill shows, read from the model and the preferences.
struct PillContent {
  std::string state;
  std::string hint; // empty hides the line
  std::optional<std::string> question;
  StatePresentation look;
  HUDPreference style = HUDPreference::full;
  HUDMaterial material = HUDMaterial::neon;
  PillOutline outline;
  HUDModel::Bands bands{};
  double phase = 0;

  // The model's state plus the hint line, which only a recording shows.
  static PillContent from(const HUDModel &model);
};

// Where each part of the pill goes, in points from the pill's top-left corner.
struct PillLayout {
  Size size;
  std::optional<Rect> symbol;
  std::optional<Rect> stateText;
  std::optional<Rect> hint;
  std::optional<Rect> question;
  Rect meter;
  double barWidth = 0;
  double barGap = 0;
};

namespace PillPainter {

PillLayout layout(const PillContent &content);
// The rectangle of one meter bar: a band of 0 is a dot as wide as the bar, 1 fills the meter's
// height; bars grow from the meter's vertical centre.
Rect barRect(const PillLayout &layout, std::size_t band, double level);
void paint(cairo_t *cr, const PillContent &content, const PillLayout &layout, double cornerRadius);
// Fills the pill's rounded outline, for shaping a window where nothing composites alpha.
void fillShape(cairo_t *cr, Size size, double cornerRadius);

} // namespace PillPainter

} // namespace selvar
