// The library that reads the command line, made to do what kavrelctl wants of it: names count as
// they stand, and what it says is in the user's language.
#pragma once

#include <CLI/CLI.hpp>

namespace kavrel {

/// For an option that takes a decimal number from `least` to `most`.
CLI::Validator Within(std::int32_t least, std::int32_t most);
/// For an option that takes one of these words.
CLI::Validator OneOf(const std::vector<std::string>& words);

/// Makes the parser ready once it has all commands and options.
void FinishParser(CLI::App& app);
/// The arguments as the parser wants them: without the program, the last one first.
std::vector<std::string> ForParser(const std::vector<std::string>& arguments);

/// Tells on standard error why the parser has refused these arguments, and what may have been
/// meant.
void TellRefused(const CLI::App& app, const CLI::ParseError& error,
                 const std::vector<std::string>& arguments);

}  // namespace kavrel
