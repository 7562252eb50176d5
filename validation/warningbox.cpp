#include "validation/warningbox.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDebug>
#include <QMessageBox>
#include <QMetaObject>
#include <QPointer>
#include <QThread>

namespace {

void ShowOnUiThread(QWidget* parent, const QString& message)
{
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Dravik for Desktop"), message,
                    QMessageBox::NoButton, parent);
    box.addButton(QCoreApplication::translate("MainWindow", "OK"), QMessageBox::AcceptRole);
    box.exec();
}

} // namespace

void ShowWarningBox(QWidget* parent, const QString& message)
{
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    if (app == nullptr) {
        qWarning().noquote() << message;
        return;
    }
    if (QThread::currentThread() == app->thread()) {
        ShowOnUiThread(parent, message);
        return;
    }
    // The parent may be destroyed while the call waits in the queue.
    QPointer<QWidget> guardedParent(parent);
    QMetaObject::invokeMethod(
        app, [guardedParent, message] { ShowOnUiThread(guardedParent.data(), message); },
        Qt::BlockingQueuedConnection);
}
