#pragma once
// The pipeline's options as the user has them now, read at the moment of the call.

#include "text/TextPipeline.h"

namespace selvar {

// The four clean-up preferences, without rules.
TextPipeline::Options preferredTextOptions();
// The preferences and the rules of the dictionary file (none when it cannot be used).
TextPipeline::Options currentTextOptions();

} // namespace selvar
