#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h): the text input
// sources and the Unicode key translation.
#include <ApplicationServices/ApplicationServices.h>
#define SLV_WANT_CARBON
#include "../../AppleStubs.h"
