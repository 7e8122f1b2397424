#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h).
#include <CoreGraphics/CoreGraphics.h>
#include <Foundation/Foundation.h>
#define SLV_WANT_QUARTZCORE
#include "../../AppleStubs.h"
