#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h).
#include <dispatch/dispatch.h>
#define SLV_WANT_COREFOUNDATION
#include "../../AppleStubs.h"
