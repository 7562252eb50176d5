#include "app/singleinstance.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMetaObject>
#include <QTranslator>
#include <QWidget>

namespace {

// Nothing is loaded into it: message ids stay "ID:" + key, but the lookup stays in one place
// should ids ever be catalogued.
QTranslator& MessageIdTranslator()
{
    static QTranslator translator;
    return translator;
}

} // namespace

QString ServerNameFor(const QByteArray& programArgument)
{
    return QLatin1String(SingleInstance::kServerPrefix)
           + QString::fromLatin1(QCryptographicHash::hash(programArgument, QCryptographicHash::Md5).toHex());
}

QString TranslateId(const std::string& key)
{
    const QString text = MessageIdTranslator().translate("dravikdesktop", key.c_str());
    if (!text.isEmpty())
        return text;
    return QStringLiteral("ID:") + QString::fromStdString(key);
}

bool NotifyRunningInstance(const QString& serverName, const QByteArray& message, QString& reply,
                           const QString& forwardSwitch)
{
    QLocalSocket socket;
    socket.connectToServer(serverName, QIODevice::ReadWrite);
    if (!socket.waitForConnected(SingleInstance::kClientWaitMs))
        return false;
    socket.write(message);
    if (!socket.waitForBytesWritten(SingleInstance::kClientWaitMs))
        return false;
    if (!socket.waitForReadyRead(SingleInstance::kClientWaitMs))
        return false;
    reply = QString::fromUtf8(socket.readAll());
    if (IsSwitchArgument(forwardSwitch)) {
        socket.write(forwardSwitch.toUtf8());
        socket.waitForBytesWritten(SingleInstance::kClientWaitMs);
    }
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(SingleInstance::kClientWaitMs);
    return true;
}

InstanceServer::InstanceServer(const QString& name, QObject* parent)
    : QObject(parent), serverName(name)
{
}

bool InstanceServer::Listen()
{
    // Listening for this user only makes Qt create the socket aside and rename it into place,
    // which would silently replace a live instance's socket: so look first. A busy live instance
    // still accepts the connection; only a refused one proves that nobody serves the name (a
    // crashed instance leaves its socket file behind).
    QLocalSocket probe;
    probe.connectToServer(serverName);
    if (probe.waitForConnected(SingleInstance::kClientWaitMs)) {
        probe.abort();
        qDebug() << "another instance serves :" << serverName;
        return false;
    }
    if (probe.error() == QLocalSocket::ConnectionRefusedError) {
        QLocalServer::removeServer(serverName);
        qDebug() << "stale server removed :" << serverName;
    }

    delete server;
    server = new QLocalServer(this);
    // Other users on the machine must not be able to press our run button.
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server->listen(serverName)) {
        qDebug() << "listen failed :" << serverName << server->errorString();
        delete server;
        server = nullptr;
        return false;
    }
    connect(server, &QLocalServer::newConnection, this, &InstanceServer::AcceptConnections);
    return true;
}

void InstanceServer::AcceptConnections()
{
    while (QLocalSocket* socket = server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { OnInstanceMessage(socket); });
        // Release a finished peer's connection instead of keeping it until the program ends.
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void InstanceServer::OnInstanceMessage(QLocalSocket* socket)
{
    const QString text = QString::fromUtf8(socket->readAll());
    qDebug() << "instance message :" << text;
    if (text == TranslateId("Name_Boot")) {
        if (mainWindow) {
            socket->write(QByteArray::number(static_cast<qulonglong>(mainWindow->winId())));
            RaiseMainWindow();
        } else {
            socket->write(TranslateId("ButtonOk").toUtf8());
        }
        socket->flush();
        return;
    }
    if (IsAutostartSwitch(text) && mainWindow)
        QMetaObject::invokeMethod(mainWindow, "on_runPushButton_clicked", Qt::QueuedConnection);
}

void InstanceServer::RaiseMainWindow()
{
    // The asking process cannot bring a window of ours to the front on every platform, so the
    // window raises itself while answering.
    if (!mainWindow)
        return;
    if (mainWindow->isMinimized())
        mainWindow->setWindowState(mainWindow->windowState() & ~Qt::WindowMinimized);
    mainWindow->show();
    mainWindow->raise();
    mainWindow->activateWindow();
}
