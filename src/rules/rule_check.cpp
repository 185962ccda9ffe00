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

std::u16string CheckName(std::u16string_view name) {
  if (Trim(name).empty()) return u"請輸入名稱。";
  if (LooksLikeComment(name)) return u"名稱請勿以「#」或「;」開頭。";
  if (name.find_first_of(kLineBreakers) != name.npos) return u"名稱請勿含有定位字元或換行字元。";
  return {};
}

std::u16string CheckPattern(std::u16string_view value, std::u16string_view forbidden) {
  const std::u16string message = CheckInvalidChars(value, forbidden);
  if (!message.empty()) return message;
  return value.find_first_of(kLineBreakers) == value.npos ? u""
                                                          : u"Invalid Character - TAB / CR / LF";
}

}  // namespace

std::u16string CheckRule(const ExclusionRule& rule) {
  const std::u16string name = CheckName(rule.Desc);
  if (!name.empty()) return name;
  const bool all_files = rule.File == u"*", all_folders = rule.Folder == u"*";
  if (!all_files) {
    const std::u16string message = CheckPattern(rule.File, kForbiddenInFilePattern);
    if (!message.empty()) return u"檔案名稱無效：" + message;
  }
  if (!all_folders) {
    const std::u16string message = CheckPattern(rule.Folder, kForbiddenInFolderPath);
    if (!message.empty()) return u"資料夾名稱無效：" + message;
    if (rule.Folder.find(u"\\\\") != rule.Folder.npos) {
      return u"資料夾名稱請勿使用「\\\\」，只要加入「\\」即可。";
    }
  }
  if (all_files && all_folders && rule.Drive == u"*") {
    return u"磁碟機設定錯誤，指定磁碟機位置前請先確定檔案或資料夾排除設定是否正確，一旦設定錯誤備份"
           u"會"
           u"出問題。";
  }
  if (rule.Drive.find_first_of(kLineBreakers) != rule.Drive.npos) {
    return u"Invalid Character - TAB / CR / LF";
  }
  return {};
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
