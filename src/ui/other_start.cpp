#include "ui/other_start.h"

#include <QDataStream>
#include <QDeadlineTimer>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPointer>
#include <QTimer>

#include "base/text.h"
#include "core/command_line.h"
#include "platform/trace.h"
#include "ui/qt_text.h"

namespace kavrel {

namespace {

constexpr int kPatienceMs = 5000;           // for a whole conversation
constexpr int kMostPeers = 16;              // at once
constexpr qint64 kLongest = 1 << 18;        // bytes of one message
constexpr quint32 kGreeting = 0x4B41'5632;  // tells what a message holds

void SetUp(QDataStream& stream) {
  stream.setVersion(QDataStream::Qt_6_0);
}

void Send(QLocalSocket& socket, const std::function<void(QDataStream&)>& write) {
  QByteArray bytes;
  QDataStream stream(&bytes, QIODevice::WriteOnly);
  SetUp(stream);
  write(stream);
  socket.write(bytes);
  socket.flush();
}

/// True when the whole of it has come; nothing is taken from the socket before.
bool Receive(QLocalSocket& socket, const std::function<void(QDataStream&)>& read) {
  QDataStream stream(&socket);
  SetUp(stream);
  stream.startTransaction();
  read(stream);
  return stream.commitTransaction();
}

QByteArray Line(const std::vector<std::u16string>& names) {
  return QByteArray::fromStdString(ToUtf8(JoinArguments(names)));
}

std::vector<std::u16string> Names(const QByteArray& line) {
  if (line.isEmpty()) return {};
  return SplitArguments(FromUtf8(line.toStdString()));
}

}  // namespace

StartListener::StartListener(Take take) : take_(std::move(take)), server_(new QLocalServer(this)) {
  server_->setSocketOptions(QLocalServer::UserAccessOption);
  server_->setMaxPendingConnections(kMostPeers);
  connect(server_, &QLocalServer::newConnection, this, &StartListener::Greet);
}

bool StartListener::Listen(std::u16string_view address) {
  const QString name = ToQString(address);
  // The lock is ours, so a socket of that name is what a killed process has left.
  QLocalServer::removeServer(name);
  const bool listens = !name.isEmpty() && server_->listen(name);
  Trace("start", {listens ? u"listening at " : u"nobody can hand over jobs at ", address, u" ",
                  FromQString(listens ? QString() : server_->errorString())});
  return listens;
}

void StartListener::Close() {
  server_->close();
  for (QLocalSocket* socket : server_->findChildren<QLocalSocket*>()) socket->abort();
}

void StartListener::Greet() {
  while (QLocalSocket* socket = server_->nextPendingConnection()) {
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    QTimer::singleShot(kPatienceMs, socket, [socket] { socket->abort(); });
    if (server_->findChildren<QLocalSocket*>().size() > kMostPeers) {
      socket->abort();
      continue;
    }
    // More than a message may hold is never read, so a peer cannot fill the memory.
    socket->setReadBufferSize(kLongest);
    connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
      QByteArray jobs, activation, versions;
      if (!Receive(*socket,
                   [&](QDataStream& stream) { stream >> jobs >> activation >> versions; })) {
        return;
      }
      disconnect(socket, &QLocalSocket::readyRead, nullptr, nullptr);
      const QPointer<QLocalSocket> alive = socket;
      const auto missing =
          take_({Names(jobs), activation.toStdString(), FromUtf8(versions.toStdString())});
      if (!alive) return;
      if (!missing) return socket->abort();
      Send(*socket, [&](QDataStream& stream) { stream << Line(*missing); });
      socket->disconnectFromServer();
    });
    // Who sees this knows that somebody is awake; only then anything is handed over.
    Send(*socket, [](QDataStream& stream) { stream << kGreeting; });
  }
}

HandedOver HandOver(std::u16string_view address, const OtherStart& start,
                    std::vector<std::u16string>& missing, int patience_ms) {
  if (address.empty()) return HandedOver::No;
  const QDeadlineTimer deadline(patience_ms);
  const auto left = [&] { return static_cast<int>(deadline.remainingTime()); };
  QLocalSocket socket;
  socket.setReadBufferSize(kLongest);
  socket.connectToServer(ToQString(address));
  if (!socket.waitForConnected(left())) return HandedOver::No;
  const auto receive = [&](const std::function<void(QDataStream&)>& read) {
    while (!Receive(socket, read)) {
      if (!socket.waitForReadyRead(left())) return false;
    }
    return true;
  };
  quint32 greeting = 0;
  if (!receive([&](QDataStream& stream) { stream >> greeting; }) || greeting != kGreeting) {
    return HandedOver::No;
  }
  Send(socket, [&](QDataStream& stream) {
    stream << Line(start.Jobs) << QByteArray::fromStdString(start.Activation)
           << QByteArray::fromStdString(ToUtf8(start.Versions));
  });
  QByteArray answer;
  if (!receive([&](QDataStream& stream) { stream >> answer; })) return HandedOver::No;
  missing = Names(answer);
  return HandedOver::Yes;
}

}  // namespace kavrel
