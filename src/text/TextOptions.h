#pragma once
// The pipeline's options as the user has them now: the four preferences and the rules of the
// dictionary file, read at the moment of the call.

#include "text/TextPipeline.h"

namespace selvar {

TextPipeline::Options currentTextOptions();

} // namespace selvar
