#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h). Like the SDK's,
// it brings Foundation and the application services along, but not Core Animation.
#include <ApplicationServices/ApplicationServices.h>
#include <Foundation/Foundation.h>
#define SLV_WANT_APPKIT
#include "../../AppleStubs.h"
