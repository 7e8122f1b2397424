#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h).
#include <CoreFoundation/CoreFoundation.h>
#define SLV_WANT_CGGEOMETRY
#define SLV_WANT_COREGRAPHICS
#include "../../AppleStubs.h"
