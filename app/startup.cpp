#include "app/startup.h"

#include "app/aboutdialog.h"
#include "app/singleinstance.h"
#include "mainwindow/mainwindow.h"
#include "mainwindow/runentry.h"

#include <QDebug>
#include <QStringList>
#include <QStyle>
#include <QStyleFactory>

namespace {
const QString kUiFamily = QStringLiteral("Meiryo UI");
}

QFont ApplicationFont()
{
    static const bool substituted = [] {
        QFont::insertSubstitutions(kUiFamily, {QStringLiteral("Yu Gothic UI"), QStringLiteral("IPAPGothic"),
                                               QStringLiteral("IPAGothic"), QStringLiteral("Noto Sans CJK JP"),
                                               QStringLiteral("VL Gothic"), QStringLiteral("TakaoGothic")});
        return true;
    }();
    Q_UNUSED(substituted);
    QFont font(kUiFamily, 9, QFont::Normal, false);
    return font;
}

QStyle* CreateBaseStyle()
{
    if (QStyle* style = QStyleFactory::create(QStringLiteral("windowsvista")))
        return style;
    return QStyleFactory::create(QStringLiteral("Fusion"));
}

void HandOver(const QString& reply)
{
    bool isNumber = false;
    const qulonglong windowId = reply == TranslateId("ButtonOk") ? 0 : reply.toULongLong(&isNumber);
    qDebug() << "handed over to the running instance; its window :" << (isNumber ? windowId : 0);
}

void ConnectAboutDialog(MainWindow& window)
{
    QObject::connect(&window, &MainWindow::aboutRequested, &window, [&window](const QString& engineVersion) {
        AboutDialog dialog(&window);
        dialog.SetEngineVersion(engineVersion);
        dialog.exec();
    });
}

void ConnectRunEntry(MainWindow& window)
{
    window.SetRunEntry([](MainWindow& w) { return RunEntry(w); });
}
