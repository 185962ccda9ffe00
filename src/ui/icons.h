// The program's own pictures and sounds, compiled in.
#pragma once

#include <QByteArray>
#include <QIcon>

namespace kavrel {

/// Numbers of the icons. They are drawings, sharp at every size.
enum class IconId {
  Program = 1,
  RunChecked = 102,  ///< also the large image of a job
  EditJobs = 104,
  Log = 106,
  Options = 108,
  Export = 109,
  Import = 110,
  About = 111,
  Exit = 112,
  JobRow = 114,
  LogEntry = 115,
  LogEntryFailed = 116,
};

QIcon LoadIcon(IconId id);

/// The sound at the end of a backup, a WAV file's bytes.
QByteArray CompletionSound();

}  // namespace kavrel
