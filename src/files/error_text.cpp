#include "files/error_text.h"

#include "base/number.h"
#include "base/text.h"
#include "base/translation.h"
#include "platform/files.h"

namespace kavrel {

std::u16string ApiErrorText(ErrorCode code) {
  if (code == 0) return u"檔案可能正在執行中...";
  std::u16string text = SystemErrorText(code);
  if (text.empty()) return Fill(u"錯誤： %1 - 未知錯誤", {Decimal(code)});
  text = ReplaceAll(text, std::u16string_view(u"\0", 1), u"");
  text = ReplaceAll(ReplaceAll(ReplaceAll(text, u"\r\n", u" "), u"\r", u""), u"\n", u" ");
  return Fill(u"錯誤：%1 - %2", {Decimal(code), Trim(text)});
}

std::u16string FailText(RunState& state, ErrorCode code, std::u16string_view text,
                        std::u16string_view path) {
  state.LastApiError = code ? code : -1;
  std::u16string result(text);
  result += u" (" + ApiErrorText(state.LastApiError) + u"): ";
  result += path;
  return result;
}

std::u16string SyncFailedText(std::u16string_view path, ErrorCode code) {
  std::u16string text(kSyncFailed);
  return ((text += path) += u" (") + ApiErrorText(code) + u")";
}

}  // namespace kavrel
