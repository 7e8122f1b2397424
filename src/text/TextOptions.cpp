#include "text/TextOptions.h"

#include "app/Prefs.h"
#include "text/DictionaryStore.h"

namespace selvar {

TextPipeline::Options preferredTextOptions() {
  TextPipeline::Options options;
  options.stripFillers = Prefs::stripFillers();
  options.spokenPunctuation = Prefs::spokenPunctuation();
  options.autoCapitalize = Prefs::autoCapitalize();
  options.trailingPeriod = Prefs::trailingPeriod();
  return options;
}

TextPipeline::Options currentTextOptions() {
  TextPipeline::Options options = preferredTextOptions();
  options.rules = DictionaryStore::rules();
  return options;
}

} // namespace selvar
