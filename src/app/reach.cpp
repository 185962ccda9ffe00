#include "app/reach.h"

#include "app/program.h"
#include "base/text.h"

namespace kavrel {

bool Reach::Answers(std::u16string_view path) {
  const std::optional<std::string> host = program_.Files.HostPath(path);
  if (!host) return true;
  const std::u16string point = program_.Mounts.WaitingPoint(FromUtf8(*host));
  if (point.empty()) return true;
  const auto [asked, is_new] = asked_.try_emplace(point, false);
  if (is_new) asked->second = program_.Files.Answers(path, milliseconds_);
  return asked->second;
}

bool Reach::MayExist(std::u16string_view path) {
  return !Answers(path) || program_.Files.FolderExists(path);
}

std::u16string Reach::SilentPlaces(const BackupJob& job, std::u16string_view destination) {
  std::u16string text;
  const auto note = [&](std::u16string_view label, std::u16string_view path) {
    if (path.empty() || Answers(path)) return;
    if (!text.empty()) text += u"；";
    (text += label) += path;
  };
  note(u"來源沒有回應：", job.Source.Path);
  note(u"目標沒有回應：", destination);
  if (!text.empty()) return text;
  for (const KnownMount& known : job.Extras.Mounts) {
    note(known.OfSource ? u"來源沒有回應：" : u"目標沒有回應：", known.Point);
  }
  return text;
}

}  // namespace kavrel
