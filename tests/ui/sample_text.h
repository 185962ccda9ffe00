// The names in pictures of the windows, in the words of who looks at them.
#pragma once

#include <QFont>
#include <string>

namespace kavrel {

/// The Chinese names of jobs, folders and files as they are where the windows speak Chinese, else
/// in English.
std::u16string Sample(std::u16string text);
std::string Sample(const std::string& text);
/// One that has the characters of the language as its readers know them.
QFont SampleFont();

}  // namespace kavrel
