#pragma once
// Stands in for the SDK header of the same name (declarations in AppleStubs.h).
#include <AVFAudio/AVFAudio.h>
#define SLV_WANT_SPEECH
#include "../../AppleStubs.h"
