// What becomes of a second start of the program over the same folder: it hands what it was asked to
// do to the one that runs, and ends. The two talk over a local socket (a named pipe on Windows)
// that belongs to the user alone.
#pragma once

#include <QObject>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class QLocalServer;

namespace kavrel {

/// What a second start wants.
struct OtherStart {
  std::vector<std::u16string> Jobs;  ///< to run next; none: the window is to come forward
  std::string Activation{};          ///< the desktop's permission to do so, where it gives any
  std::u16string Versions{};         ///< the file whose versions the window is to show
};

/// The side of the program that runs. Peers that are slow, silent or talk nonsense are dropped
/// after a few seconds; nothing ever waits for them.
class StartListener : public QObject {
  Q_OBJECT

 public:
  /// Takes what was handed over and gives the names of jobs that do not exist; nothing when it did
  /// not take it.
  using Take = std::function<std::optional<std::vector<std::u16string>>(const OtherStart&)>;
  explicit StartListener(Take take);

  /// Waits for others at this address, in place of a dead process's socket: the caller holds the
  /// folder's lock. False where that is not possible; nobody can hand anything over then.
  bool Listen(std::u16string_view address);
  /// Takes nothing any more; programs that wait for an answer are told so.
  void Close();

 private:
  void Greet();

  const Take take_;
  QLocalServer* const server_;
};

enum class HandedOver {
  No,  ///< nobody listens, or nobody answered in time: nothing was taken
  Yes,
};
/// The side of the second start; waits so long at most. `missing` gets the names of jobs that
/// the other one does not have; it takes the rest.
HandedOver HandOver(std::u16string_view address, const OtherStart& start,
                    std::vector<std::u16string>& missing, int patience_ms);

}  // namespace kavrel
