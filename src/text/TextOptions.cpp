#include "text/TextOptions.h"

#include "app/Prefs.h"
#include "text/DictionaryStore.h"

namespace selvar {

TextPipeline::Options currentTextOptions() {
  TextPipeline::Options options;
  options.stripFillers = Prefs::stripFillers();
  options.spokenPunctuation = Prefs::spokenPunctuation();
  options.autoCapitalize = Prefs::autoCapitalize();
  options.trailingPeriod = Prefs::trailingPeriod();
  options.rules = DictionaryStore::rules();
  return options;
}

} // namespace selvar
