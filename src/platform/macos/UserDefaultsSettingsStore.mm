#include "platform/macos/UserDefaultsSettingsStore.h"

#include "platform/macos/ObjCBridge.h"

#import <Foundation/Foundation.h>

namespace selvar {

namespace {

// Property lists keep booleans, integers and reals apart in their number objects.
SettingValue fromNumber(NSNumber *number) {
  CFTypeRef ref = (__bridge CFTypeRef)number;
  if (CFGetTypeID(ref) == CFBooleanGetTypeID()) return static_cast<bool>(number.boolValue);
  if (CFNumberIsFloatType((__bridge CFNumberRef)number)) return number.doubleValue;
  return static_cast<std::int64_t>(number.longLongValue);
}

id toObject(const SettingValue &value) {
  struct Visitor {
    id operator()(bool v) const { return [NSNumber numberWithBool:v]; }
    id operator()(std::int64_t v) const { return [NSNumber numberWithLongLong:v]; }
    id operator()(double v) const { return [NSNumber numberWithDouble:v]; }
    id operator()(const std::string &v) const { return nsString(v); }
    id operator()(const SettingBytes &v) const {
      return [NSData dataWithBytes:v.data() length:v.size()];
    }
  };
  return std::visit(Visitor{}, value);
}

} // namespace

std::optional<SettingValue> UserDefaultsSettingsStore::value(std::string_view key) const {
  id object = [[NSUserDefaults standardUserDefaults] objectForKey:nsString(key)];
  if ([object isKindOfClass:[NSNumber class]]) return fromNumber(object);
  if ([object isKindOfClass:[NSString class]]) return stdString(object);
  if ([object isKindOfClass:[NSData class]]) {
    NSData *data = object;
    const auto *bytes = static_cast<const std::uint8_t *>(data.bytes);
    return SettingBytes(bytes, bytes + data.length);
  }
  return std::nullopt; // missing, or a kind the core never stores (dates, arrays …)
}

void UserDefaultsSettingsStore::setValue(std::string_view key, const SettingValue &value) {
  [[NSUserDefaults standardUserDefaults] setObject:toObject(value) forKey:nsString(key)];
}

void UserDefaultsSettingsStore::remove(std::string_view key) {
  [[NSUserDefaults standardUserDefaults] removeObjectForKey:nsString(key)];
}

} // namespace selvar
