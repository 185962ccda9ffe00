#include "core/job_presets.h"

#include "base/translation.h"

namespace kavrel {

namespace {

constexpr JobPreset kPresets[] = {
    {u"備份我的最愛清單", TrLaterIn("name", u"我的最愛"), UserFolder::Favourites},
    {u"備份我的文件夾", TrLaterIn("name", u"我的文件夾"), UserFolder::Documents},
    {u"備份桌面上的資料", TrLaterIn("name", u"桌面上的資料"), UserFolder::Desktop},
    {u"備份 Windows 字型", TrLaterIn("name", u"Windows 系統字型"), UserFolder::Fonts},
    {u"備份 Outlook Express 郵件", TrLaterIn("name", u"Outlook Express 郵件"), UserFolder::Mail},
    {u"備份 Outlook Express 通訊錄", TrLaterIn("name", u"Outlook Express 通訊錄"),
     UserFolder::AddressBook},
    {u"備份 Internet Explorer Cookies", u"Internet Explorer Cookies", UserFolder::Cookies},
    {u"備份 uTorrent 設定", TrLaterIn("name", u"備份 uTorrent 設定"), UserFolder::Torrent},
    {u"備份 IE7 Pro 設定", TrLaterIn("name", u"備份 IE7 Pro 設定"), UserFolder::BrowserAddOn},
    {u"備份新酷音輸入法設定", TrLaterIn("name", u"備份新酷音輸入法設定"), UserFolder::InputMethod},
    {u"備份 UltraEdit 設定", TrLaterIn("name", u"備份 UltraEdit 設定"), UserFolder::Editor},
};

}  // namespace

std::span<const JobPreset> JobPresets() {
  return kPresets;
}

}  // namespace kavrel
