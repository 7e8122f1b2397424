#pragma once
// The pill's state symbols drawn as Cairo paths, named as the HUD names them ("mic.fill",
// "exclamationmark.triangle.fill", "ellipsis.bubble.fill"), so no icon theme is needed.

#include "support/Geometry.h"

#include <cairo.h>
#include <string_view>

namespace selvar::PillSymbols {

// Paints the named symbol inside box in the colour; an unknown name paints nothing.
void paint(cairo_t *cr, std::string_view name, Rect box, double r, double g, double b);

} // namespace selvar::PillSymbols
