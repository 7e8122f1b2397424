#pragma once
// Conversions between Foundation values and the core's standard C++ values, and an owner for
// Core Foundation references, shared by the macOS adapters.

#import <Foundation/Foundation.h>
#include <string>
#include <string_view>
#include <utility>

namespace selvar {

inline NSString *nsString(std::string_view text) {
  NSString *s = [[NSString alloc] initWithBytes:text.data()
                                         length:text.size()
                                       encoding:NSUTF8StringEncoding];
  return s ? s : @"";
}

inline std::string stdString(NSString *text) {
  const char *utf8 = text ? text.UTF8String : nullptr;
  return utf8 ? std::string(utf8) : std::string();
}

inline std::string describe(NSError *error) {
  return error ? stdString(error.localizedDescription) : std::string("unknown error");
}

// Owns one Core Foundation reference (a "Create" or "Copy" result) and releases it.
template <class Ref> class CFOwned {
public:
  CFOwned() = default;
  explicit CFOwned(Ref ref) : ref_(ref) {}
  ~CFOwned() { reset(); }
  CFOwned(const CFOwned &) = delete;
  CFOwned &operator=(const CFOwned &) = delete;
  CFOwned(CFOwned &&other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
  CFOwned &operator=(CFOwned &&other) noexcept {
    if (this != &other) {
      reset();
      ref_ = std::exchange(other.ref_, nullptr);
    }
    return *this;
  }

  Ref get() const { return ref_; }
  // For out-parameters of Copy functions.
  Ref *out() {
    reset();
    return &ref_;
  }
  explicit operator bool() const { return ref_ != nullptr; }
  void reset() {
    if (ref_) CFRelease(ref_);
    ref_ = nullptr;
  }

private:
  Ref ref_ = nullptr;
};

} // namespace selvar
