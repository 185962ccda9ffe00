#include "rules/rule_check.h"

#include "base/text.h"

namespace kavrel {

namespace {

constexpr std::u16string_view kLineBreakers = u"\t\r\n";

/// A line that begins so is a comment: what it says would be gone after the next start.
bool LooksLikeComment(std::u16string_view name) {
  name = Trim(name);
  return name.starts_with(u'#') || name.starts_with(u';');
}

/// What the rule files could not keep.
std::u16string CheckStorable(std::u16string_view name) {
  if (LooksLikeComment(name)) return u"名稱請勿以「#」或「;」開頭。";
  if (name.find_first_of(kLineBreakers) != name.npos) return u"名稱請勿含有定位字元或換行字元。";
  return {};
}

std::u16string CheckName(std::u16string_view name) {
  return Trim(name).empty() ? u"請輸入名稱。" : CheckStorable(name);
}

std::u16string CheckPattern(std::u16string_view value, std::u16string_view forbidden) {
  const std::u16string message = CheckInvalidChars(value, forbidden);
  if (!message.empty()) return message;
  return value.find_first_of(kLineBreakers) == value.npos ? u""
                                                          : u"Invalid Character - TAB / CR / LF";
}

}  // namespace

std::u16string CheckRuleName(std::u16string_view name) {
  return CheckStorable(name);
}

std::u16string CheckRuleFile(std::u16string_view value, std::u16string_view forbidden) {
  const std::u16string message = CheckPattern(value, forbidden);
  return message.empty() ? message : u"檔案名稱無效：" + message;
}

std::u16string CheckRuleFolder(std::u16string_view value, std::u16string_view forbidden) {
  const std::u16string message = CheckPattern(value, forbidden);
  if (!message.empty()) return u"資料夾名稱無效：" + message;
  if (value.find(u"\\\\") == value.npos) return {};
  return u"資料夾名稱請勿使用「\\\\」，只要加入「\\」即可。";
}

std::u16string CheckRuleDrive(const ExclusionRule& rule) {
  if (Trim(rule.Drive).empty() ||
      (rule.File == u"*" && rule.Folder == u"*" && rule.Drive == u"*")) {
    return u"磁碟機設定錯誤，指定磁碟機位置前請先確定檔案或資料夾排除設定是否正確，"
           u"一旦設定錯誤備份會出問題。";
  }
  if (rule.Drive.find_first_of(kLineBreakers) != rule.Drive.npos) {
    return u"Invalid Character - TAB / CR / LF";
  }
  return {};
}

std::u16string CheckRule(const ExclusionRule& rule) {
  std::u16string message = CheckName(rule.Desc);
  if (message.empty() && rule.File != u"*") {
    message = CheckRuleFile(rule.File, kForbiddenInFilePattern);
  }
  if (message.empty() && rule.Folder != u"*") {
    message = CheckRuleFolder(rule.Folder, kForbiddenInFolderPath);
  }
  return message.empty() ? CheckRuleDrive(rule) : message;
}

std::u16string CheckFilter(const FileFilter& filter) {
  const std::u16string name = CheckName(filter.Name);
  if (!name.empty()) return name;
  for (const std::u16string_view pattern : SplitPatterns(filter.Patterns)) {
    const std::u16string message = CheckPattern(pattern, kForbiddenInFilePattern);
    if (!message.empty()) return message;
  }
  return {};
}

}  // namespace kavrel
