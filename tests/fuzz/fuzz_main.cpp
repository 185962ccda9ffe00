// The fuzzer: tries what libFuzzer invents on the one target that KAVREL_FUZZ_TARGET names.
#include <iconv.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "fuzz/targets.h"

// Held open, so that the code page is not loaded anew for each input.
const iconv_t kHeld[] = {iconv_open("UTF-8", "CP950"), iconv_open("CP950", "UTF-8")};

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const kavrel::fuzz::Target* const target = [] {
    const char* name = std::getenv("KAVREL_FUZZ_TARGET");
    for (const kavrel::fuzz::Target& known : kavrel::fuzz::Targets()) {
      if (name && name == std::string_view(known.Name)) return &known;
    }
    std::fputs("KAVREL_FUZZ_TARGET names no target\n", stderr);
    std::exit(2);
  }();
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  if (const char* broken = target->Try(input)) {
    std::fprintf(stderr, "Broken: %s\n", broken);
    std::abort();
  }
  return 0;
}
