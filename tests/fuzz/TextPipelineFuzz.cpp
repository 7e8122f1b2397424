// Random text, options and dictionary rules through the whole clean-up: it must not crash,
// must not hang (a runaway rule is cut off by its time budget), and must always give valid
// UTF-8 without white space at either end.

#include "platform/fake/FakeEnvironment.h"
#include "support/Unicode.h"
#include "text/TextPipeline.h"

#include <cstdio>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace {

using namespace selvar;

bool isSpaceAt(const std::string &text, bool atEnd) {
  const auto *s = reinterpret_cast<const uint8_t *>(text.data());
  int32_t i = atEnd ? static_cast<int32_t>(text.size()) : 0;
  UChar32 c;
  if (atEnd)
    U8_PREV(s, 0, i, c);
  else
    U8_NEXT(s, i, static_cast<int32_t>(text.size()), c);
  return c >= 0 && u_isUWhiteSpace(c);
}

void fail(const char *what, const std::string &out) {
  std::fprintf(stderr, "%s: [%s]\n", what, out.c_str());
  std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static FakeEnvironment env; // rules that run out of time write to the log
  FuzzedDataProvider input(data, size);
  TextPipeline::Options options;
  options.stripFillers = input.ConsumeBool();
  options.spokenPunctuation = input.ConsumeBool();
  options.autoCapitalize = input.ConsumeBool();
  options.trailingPeriod = input.ConsumeBool();
  for (int n = input.ConsumeIntegralInRange(0, 3); n > 0; --n) {
    DictionaryRule rule;
    rule.isRegex = input.ConsumeBool();
    rule.heard = input.ConsumeRandomLengthString(48);
    rule.replace = input.ConsumeRandomLengthString(24);
    options.rules.push_back(std::move(rule));
  }
  std::string out = TextPipeline::process(input.ConsumeRemainingBytesAsString(), options);
  if (!isValidUtf8(out)) fail("invalid UTF-8", out);
  if (!out.empty() && (isSpaceAt(out, false) || isSpaceAt(out, true)))
    fail("white space at an end", out);
  return 0;
}
