#pragma once

// One instance per executable path. A second start asks the first for its window through a
// local server, passes its command-line switch over and ends; the first raises its own window
// and, for "-autostart" or "/autostart", presses its run button.

#include "mainwindow/autostart.h"

#include <QByteArray>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <string>

class QLocalServer;
class QLocalSocket;
class QWidget;

namespace SingleInstance {
inline constexpr char kServerPrefix[] = "dkd_qt_server";
// Each client wait (connect, write, read) gives up after this; an instance that is busy longer
// is treated as absent.
inline constexpr int kClientWaitMs = 300;
} // namespace SingleInstance

// "dkd_qt_server" and the lower-case hexadecimal MD5 of the program path exactly as the
// process received it, so copies in different folders do not see each other.
QString ServerNameFor(const QByteArray& programArgument);

// The message id for key: its translation in the context "dravikdesktop" of the message-id
// translator, and, as nothing is ever loaded into that translator, "ID:" followed by the key.
QString TranslateId(const std::string& key);

// The client side: connects to serverName, sends message, takes the answer into reply and, when
// forwardSwitch is a switch, sends it after. True when a running instance answered.
bool NotifyRunningInstance(const QString& serverName, const QByteArray& message, QString& reply,
                           const QString& forwardSwitch);

// The server side. Owned by the application object once it listens.
class InstanceServer : public QObject
{
    Q_OBJECT

public:
    explicit InstanceServer(const QString& serverName, QObject* parent = nullptr);

    // Listens under the server name, for this user only. A socket file left behind by a crashed
    // instance (nothing accepts on it) is removed first; a live instance's name is never taken.
    bool Listen();

    // The window that boot queries raise and that "-autostart" presses the run button of.
    // It must have the slot on_runPushButton_clicked(). Null until the window exists.
    void SetMainWindow(QWidget* window) { mainWindow = window; }
    QWidget* MainWindow() const { return mainWindow; }

    QString ServerName() const { return serverName; }

    // Handles everything the peer has sent so far, as one message.
    void OnInstanceMessage(QLocalSocket* socket);

private:
    void AcceptConnections();
    void RaiseMainWindow();

    QString serverName;
    QLocalServer* server = nullptr;
    QPointer<QWidget> mainWindow;
};
