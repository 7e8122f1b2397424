// A misspelt Foundation selector on a typed receiver.
#import <Foundation/Foundation.h>

id readSetting() {
  return [[NSUserDefaults standardUserDefaults] objectForKye:@"theme"];
}
