// A language for the length of a test.
#pragma once

#include <string>
#include <string_view>

#include "base/translation.h"

namespace kavrel {

class Spoken {
 public:
  explicit Spoken(std::string_view code) : before_(CurrentLanguage().Code) { SetLanguage(code); }
  ~Spoken() { SetLanguage(before_); }
  Spoken(const Spoken&) = delete;
  Spoken& operator=(const Spoken&) = delete;

 private:
  const std::string before_;
};

}  // namespace kavrel
