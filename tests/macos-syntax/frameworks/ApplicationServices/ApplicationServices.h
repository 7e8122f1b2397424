#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h): Core Graphics
// and the accessibility API (HIServices).
#include <CoreGraphics/CoreGraphics.h>
#define SLV_WANT_HISERVICES
#include "../../AppleStubs.h"
