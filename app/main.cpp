#include "app/singleinstance.h"
#include "app/startup.h"
#include "app/themes.h"
#include "mainwindow/autostart.h"
#include "mainwindow/mainwindow.h"
#include "pipeline/enginelocator.h"
#include "settings/settingsstore.h"

#include <QApplication>
#include <QByteArray>
#include <QFont>
#include <QProcess>
#include <QPushButton>
#include <QStringList>

#include <memory>

int main(int argc, char** argv)
{
    // Set before the application object exists, so that the first widgets already use it.
    QApplication::setFont(ApplicationFont());
    QApplication app(argc, argv);

    const QStringList arguments = QApplication::arguments();
    const QString serverName = ServerNameFor(QByteArray(argc > 0 ? argv[0] : ""));
    const QByteArray bootQuery = TranslateId("Name_Boot").toUtf8();
    const QString forwardSwitch = FirstArgument(arguments);

    QString reply;
    if (NotifyRunningInstance(serverName, bootQuery, reply, forwardSwitch)) {
        HandOver(reply);
        return 0;
    }

    auto* server = new InstanceServer(serverName, &app);
    if (!server->Listen()) {
        delete server;
        server = nullptr;
    }

    LoadTranslations(app);

    auto window = std::make_unique<MainWindow>();
    if (server)
        server->SetMainWindow(window.get());
    ConnectAboutDialog(*window);
    ConnectRunEntry(*window);

    QString enginePath;
    if (!FindEngine(window.get(), enginePath) || enginePath.isEmpty())
        return 0;

    const SettingsStore store;
    GeneralSettingsRecord general;
    store.ReadGeneralSettings(general);
    RecentFolders histories;
    if (store.ReadRecentFolders(histories))
        window->SetHistories(histories);

    window->SetDarkTheme(ApplyTheme(general.lumenoDarkStyle));
    QApplication::setStyle(CreateBaseStyle());

    // An instance that started at the same moment may have taken the name meanwhile. While we
    // hold the name ourselves, the query could only reach this very instance, which cannot answer
    // before its event loop runs.
    if (!server && NotifyRunningInstance(serverName, bootQuery, reply, forwardSwitch)) {
        HandOver(reply);
        return 0;
    }

    QApplication::setFont(ApplicationFont());
    QFont runFont = window->RunButton()->font();
    runFont.setPointSize(13);
    window->RunButton()->setFont(runFont);
    window->StartingUpInitialization();
    window->show();
    const int exitCode = QApplication::exec();

    if (server)
        server->SetMainWindow(nullptr);
    const bool restart = window->RestartRequested();
    window.reset();
    // Give up the name before the new process asks for it, so that it becomes the instance.
    delete server;
    if (restart)
        QProcess::startDetached(arguments.first(), arguments, QString());
    return exitCode;
}
