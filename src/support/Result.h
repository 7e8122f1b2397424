#pragma once
// A value or the error that kept it from being made: what the network clients hand to their
// completions instead of throwing.

#include <optional>
#include <utility>

namespace selvar {

template <typename T, typename E> class Result {
public:
  static Result success(T value) {
    Result r;
    r.value_.emplace(std::move(value));
    return r;
  }
  static Result failure(E error) {
    Result r;
    r.error_.emplace(std::move(error));
    return r;
  }

  // Builds the error in place (for an error that is itself a variant: no move of it).
  template <typename... Args> static Result failureWith(Args &&...args) {
    Result r;
    r.error_.emplace(std::forward<Args>(args)...);
    return r;
  }

  bool ok() const { return value_.has_value(); }
  explicit operator bool() const { return ok(); }
  const T &value() const { return *value_; }
  T &value() { return *value_; }
  const E &error() const { return *error_; }

private:
  Result() = default;
  std::optional<T> value_; // exactly one of the two is set
  std::optional<E> error_;
};

} // namespace selvar
