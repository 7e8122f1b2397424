#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h).
#define SLV_WANT_DISPATCH
#include "../../AppleStubs.h"
