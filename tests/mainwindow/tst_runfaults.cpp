// Faults a run must survive without hanging the window: an engine that never ends, through the
// drivers, with the time limit shortened so that the test does not wait an hour.

#include "dialogs/resultdialog.h"
#include "mainwindow/rundrivers.h"
#include "pipeline/commandline.h"
#include "settings/pagesettingsrecord.h"

#include <QApplication>
#include <QMessageBox>
#include <QTextEdit>
#include <QtTest>

namespace {

class Host : public RunHost
{
public:
    QList<PageSettingsRecord> pages;
    QWidget window;
    int PageCount() const override { return int(pages.size()); }
    int CurrentIndex() const override { return 0; }
    bool IsBatchMode() const override { return pages.size() > 1; }
    bool PageRecordAt(int i, PageSettingsRecord& record) const override { return (record = pages.value(i)), i < pages.size(); }
    bool SetDefaultOptionForPage(int i, const QString& in, const QString& out, DefaultOption* o, ProcessControl* c) override
    {
        OptionRefusal refusal;
        return SetDefaultOption(pages.at(i), in, out, o, c, &refusal);
    }
    void FocusFolderField(int, bool) override {}
    bool FindEngine(QString& path) override { return !(path = QStringLiteral(DRAVIK_STANDIN_ENGINE)).isEmpty(); }
    QWidget* DialogParent() const override { return const_cast<QWidget*>(&window); }
    int EngineTimeoutMs() const override { return 1500; }
};

} // namespace

class TestRunFaults : public QObject
{
    Q_OBJECT

private slots:
    void hungEngineIsKilledAndStopsTheRun_data()
    {
        QTest::addColumn<QList<QStringList>>("pages");   // one list of file names per page
        QTest::addColumn<QList<int>>("outputs");         // files written per page
        QTest::newRow("a file begun beside it ends") << QList<QStringList>{{"a_hang.png", "b.png"}} << QList<int>{1};
        QTest::newRow("batch: page 2 never runs") << QList<QStringList>{{"a_hang.png"}, {"b.png"}} << QList<int>{0, 0};
    }
    void hungEngineIsKilledAndStopsTheRun()
    {
        QFETCH(QList<QStringList>, pages); QFETCH(QList<int>, outputs);
        QTemporaryDir root;   // the folders of every page
        Host host;
        for (int p = 0; p < pages.size(); ++p) {
            PageSettingsRecord page;
            page.checked = pages.size() > 1;
            page.uniqueLogFile = true;
            page.generalInputDir = root.filePath(QStringLiteral("in%1/").arg(p));
            page.generalOutputDir = root.filePath(QStringLiteral("out%1/").arg(p));
            QDir().mkpath(page.generalInputDir);
            for (const QString& name : pages.at(p)) {   // larger files begin first, even on one processor
                QFile file(page.generalInputDir + name);
                QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(name.contains("hang") ? 10 : 30, 'i')));
            }
            host.pages.append(page);
        }
        QString failed;
        QTimer user;   // reads the failed list; any box on the way is read instead, to fail the test
        QObject::connect(&user, &QTimer::timeout, [&] {
            if (auto* result = qobject_cast<ResultDialog*>(QApplication::activeModalWidget())) {
                failed = result->findChild<QTextEdit*>(QStringLiteral("textEdit"))->toPlainText();
                result->accept();
            } else if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                failed = box->text();
                box->accept();
            }
        });
        user.start(20);
        QVERIFY(RunEntry(host));
        QVERIFY2(failed.contains(host.pages[0].generalInputDir + "a_hang.png"), qPrintable(failed));
        QFile log(host.pages[0].generalOutputDir + "_DravikLog.log");   // the reason, for whoever reads the log
        QVERIFY(log.open(QIODevice::ReadOnly) && log.readAll().contains("  Timedout (exec)  : "));
        for (int p = 0; p < pages.size(); ++p)
            QCOMPARE(QDir(host.pages[p].generalOutputDir).entryList({"*.png"}, QDir::Files).size(), outputs[p]);
    }
};

QTEST_MAIN(TestRunFaults)
#include "tst_runfaults.moc"
