#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h).
#include <CoreGraphics/CoreGraphics.h>
#define SLV_WANT_IMAGEIO
#include "../../AppleStubs.h"
