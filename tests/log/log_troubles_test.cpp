#include "log/log_troubles.h"

#include <gtest/gtest.h>

namespace kavrel {
namespace {

TEST(LogTroubles, WhatWentWrongIsFoundWithItsReason) {
  const std::u16string log =
      u"-=-=開始時間：2026/11/24 下午 03:04:05-=-=\r\n"
      u"2026/11/24 下午 03:04:05: 備份檔案 (失敗)：C:\\甲 (失敗)：乙.txt\r\n"
      u"2026/11/24 下午 03:04:05: 原因：錯誤：13 - Permission denied\r\n"
      u"2026/11/24 下午 03:04:05: 更新屬性 (成功)：C:\\丙 (失敗)：丁\r\n"
      u"2026/11/24 下午 03:04:05: 原因：不是它的\r\n"
      u"2026/11/24 下午 03:04:06: 讀取排除規則 (失敗) (錯誤：5 - I/O): C:\\e.rtm\r\n"
      u"2026/11/24 下午 03:04:06: 磁碟檢查 (繼續)：無妨\r\n"
      u"2026/11/24 下午 03:04:06: 磁碟檢查 (中斷)：磁碟不在\r\n"
      u"2026/11/24 下午 03:04:06: 驗證檔案 (內容不同)：C:\\戊\r\n"
      u"備份失敗檔案總計　：3 (失敗)：x\r\n";
  const std::vector<RunFailure> all = {
      {u"備份檔案 (失敗)", u"C:\\甲 (失敗)：乙.txt", u"錯誤：13 - Permission denied"},
      {u"讀取排除規則 (失敗)", u"C:\\e.rtm", u"錯誤：5 - I/O"},
      {u"磁碟檢查 (中斷)", u"磁碟不在", u""},
      {u"驗證檔案 (內容不同)", u"C:\\戊", u""}};
  EXPECT_EQ(ReadTroubles(log), all);
  EXPECT_EQ(ReadTroubles(log, 1), (std::vector<RunFailure>{all[0]})) << "with its reason";
}

}  // namespace
}  // namespace kavrel
