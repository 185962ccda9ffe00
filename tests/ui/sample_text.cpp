#include "ui/sample_text.h"

#include "base/text.h"
#include "base/translation.h"

namespace kavrel {
namespace {

struct Word {
  const char16_t *Chinese, *English;
};
/// The longer ones first.
constexpr Word kWords[] = {
    {u"家庭相片（同步到外接硬碟）", u"Family pictures (mirrored to the external disk)"},
    {u"資料備份排程捷徑", u"Backup job"},
    {u"工作文件每日備份", u"Work documents, daily"},
    {u"會計資料加密壓縮", u"Accounts, encrypted"},
    {u"公司專案壓縮備份", u"Company projects, compressed"},
    {u"Outlook Express 郵件", u"Mail"},
    {u"每日文件備份", u"Documents, daily"},
    {u"家庭相片同步", u"Family pictures"},
    {u"專案原始碼", u"Project sources"},
    {u"年度報告 ", u"Annual report "},
    {u"<yyyy>年", u"<yyyy>"},
    {u"工作文件", u"Work"},
    {u"電子郵件", u"Mail"},
    {u"音樂收藏", u"Music collection"},
    {u"家庭相片", u"Family pictures"},
    {u"2026 旅行", u"Journey 2026"},
    {u"2009 旅行", u"Journey 2009"},
    {u"家計簿", u"Accounts"},
    {u"通訊錄", u"Addresses"},
    {u"邀請函", u"Invitation"},
    {u"美玲", u"anna"},
    {u"文件", u"Documents"},
    {u"備份", u"Backup"},
    {u"相片", u"Pictures"},
    {u"照片", u"Pictures"},
    {u"圖片", u"Pictures"},
    {u"下載", u"Downloads"},
    {u"桌面", u"Desktop"},
    {u"檔案", u"File"},
    {u"會計", u"Accounts"},
    {u"封存", u"Archive"},
    {u"專案", u"Projects"},
    {u"郵件", u"Mail"},
    {u"音樂", u"Music"},
    {u"同步", u"Mirror"},
    {u"報表", u"Report"},
    {u"影片", u"Film"},
    {u"信件", u"Letters"},
    {u"家書", u"To mother"},
    {u"租約", u"Lease"},
    {u"旅行", u"Journey"},
    {u"日出", u"Sunrise"},
    {u"海邊", u"Seaside"},
    {u"生日", u"Birthday"},
    {u"日記", u"Diary"},
    {u"海", u"Sea"},
    {u"年", u"-"},
    {u"月", u"-"},
    {u"日", u"-"},
    {u"時", u""},
};

}  // namespace

std::u16string Sample(std::u16string text) {
  if (CurrentLanguage().Code.substr(0, 2) == "zh") return text;
  for (const Word& word : kWords) {
    const std::u16string_view chinese = word.Chinese, english = word.English;
    for (std::size_t at = text.find(chinese); at != std::u16string::npos;
         at = text.find(chinese, at + english.size())) {
      text.replace(at, chinese.size(), english);
    }
  }
  return text;
}

QFont SampleFont() {
  const std::string_view code = CurrentLanguage().Code;
  if (code == "zh_TW") return QFont("Noto Sans CJK TC", 10);
  if (code == "zh_CN") return QFont("Noto Sans CJK SC", 10);
  if (code == "ja") return QFont("Noto Sans CJK JP", 10);
  return QFont("DejaVu Sans", 9);
}

std::string Sample(const std::string& text) {
  return ToUtf8(Sample(FromUtf8(text)));
}

}  // namespace kavrel
