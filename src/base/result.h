// A value, or the system's error code that stood in its way.
#pragma once

#include <utility>

namespace kavrel {

/// An operating-system error code; 0 means success.
using ErrorCode = int;

/// Holds a value when Error is 0; the value of a failed result is default-made.
template <typename T>
struct Result {
  T Value{};
  ErrorCode Error = 0;

  explicit operator bool() const { return Error == 0; }
  T& operator*() { return Value; }
  const T& operator*() const { return Value; }
  T* operator->() { return &Value; }
  const T* operator->() const { return &Value; }

  static Result Fail(ErrorCode error) { return Result{T{}, error}; }
};

}  // namespace kavrel
