#pragma once
// A value or the error that kept it from being made: what the network clients hand to their
// completions instead of throwing.

#include <utility>
#include <variant>

namespace selvar {

template <typename T, typename E> class Result {
public:
  static Result success(T value) { return Result(std::in_place_index<0>, std::move(value)); }
  static Result failure(E error) { return Result(std::in_place_index<1>, std::move(error)); }

  bool ok() const { return storage_.index() == 0; }
  explicit operator bool() const { return ok(); }
  const T &value() const { return std::get<0>(storage_); }
  T &value() { return std::get<0>(storage_); }
  const E &error() const { return std::get<1>(storage_); }

private:
  template <std::size_t I, typename V>
  Result(std::in_place_index_t<I> tag, V &&v) : storage_(tag, std::forward<V>(v)) {}
  std::variant<T, E> storage_;
};

} // namespace selvar
