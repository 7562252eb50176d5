// The window's rules as plain functions: the dropped folder's checks, page names, the
// histories after a run and the start switch.

#include "mainwindow/autostart.h"
#include "mainwindow/folderpickers.h"
#include "mainwindow/pagenamedialog.h"
#include "mainwindow/runhistories.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class TestPageRules : public QObject
{
    Q_OBJECT

private slots:
    // A folder box takes exactly one dropped folder with a usable path; the rest is refused.
    void droppedItems()
    {
        QTemporaryDir temp;
        QDir root(temp.path());
        const QString deep = QString(120, u'd') + u'/' + QString(120, u'e');
        QVERIFY(root.mkpath("a") && root.mkpath("bad?name") && root.mkpath(deep));
        QFile file(root.filePath("photo.jpg"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        const auto url = [&](const QString& name) { return QUrl::fromLocalFile(root.filePath(name)); };
        const QString named = QStringLiteral("*"); // the path rules' own message, naming the field
        const QList<std::tuple<QList<QUrl>, QString, QString>> cases{
            {{url("a")}, QDir::toNativeSeparators(root.filePath("a/")), {}},
            {{url("a"), url("a")}, {}, PickerText::DropOneFolder()},
            {{}, {}, PickerText::DropOneFolder()},
            {{url("photo.jpg")}, {}, PickerText::NotAFolder()},
            {{QUrl("https://example.org/a/")}, {}, {}},
            {{url(deep)}, {}, PickerText::PathTooLong()},
            {{url("bad?name")}, {}, named}};
        for (const auto& [urls, path, message] : cases) {
            const FolderVerdict verdict = CheckDroppedFolder(urls, QStringLiteral("入力フォルダー"), 240, PathSyntax::Native(), IsExistingFolder);
            QCOMPARE(verdict.path, path);
            QVERIFY(message == named ? verdict.message.contains(QStringLiteral("入力フォルダー")) : verdict.message == message);
        }
    }

    // Names lose line breaks and outer spaces; empty, longer than 32 or taken (same case) is refused.
    void pageNames()
    {
        const QString x33(33, u'x');
        const QList<std::tuple<QString, QStringList, QString, QString>> cases{
            {"  spaced  ", {}, "spaced", ""},
            {"two\r\nlines\n", {}, "twolines", ""},
            {QString(32, u'x'), {}, QString(32, u'x'), ""},
            {" \n ", {}, "", "Please name it"},
            {x33, {}, QString(32, u'x'), "The allowed length for the name is 32 characters.\ncharacter length : 33"},
            {" page1", {"page1"}, "page1", "This name is already registered.\nPage name : page1"},
            {"Page1", {"page1"}, "Page1", ""}};
        for (const auto& [entered, taken, name, refusal] : cases) {
            const PageNameCheck check = CheckPageName(entered, taken);
            QCOMPARE(check.name, name);
            QCOMPARE(check.refusal, refusal);
        }
    }

    // After a run the used folders go to the front: in a batch every checked page's in tab order
    // (an entry differing in case replaced), else the current page's; at most 20 are kept.
    void runFoldersGoToTheFront()
    {
        // one letter per tab: c checked, . unchecked, x checked but without a page
        const QList<std::tuple<QString, int, QStringList, QStringList>> cases{
            {".c.c", 2, {"in-b", "older"}, {"IN-B", "IN-D", "older"}},
            {"c.c", 1, {}, {"IN-A", "IN-C"}},
            {"...", 1, {"old"}, {"IN-B", "old"}},
            {"x", 0, {}, {}},
            {"..", -1, {}, {}},
            {".", 0, QStringList(20, "old"), QStringList{"IN-A"} + QStringList(19, "old")}};
        for (const auto& [tabs, current, before, after] : cases) {
            QList<RunPageFolders> pages;
            for (const QChar c : tabs) {
                const QString name(QChar(char16_t(u'A' + pages.size())));
                pages.append({c != u'.', c != u'x', "IN-" + name, "OUT-" + name, "ST-" + name});
            }
            RecentFolders lists;
            lists.inputHistory = before;
            PushRunFolders(lists, pages, current);
            QCOMPARE(lists.inputHistory, after);
            QCOMPARE(lists.stampHistory.size(), lists.outputHistory.size());
        }
    }

    // Only the exact switch, first after the program's name, starts a run.
    void autostartSwitch()
    {
        for (const auto& [word, starts] : QList<std::pair<QString, bool>>{
                 {"-autostart", true}, {"/autostart", true}, {"autostart", false}, {"--autostart", false}, {"-AUTOSTART", false}, {"", false}})
            QCOMPARE(IsAutostartSwitch(word), starts);
        QCOMPARE(FirstArgument({"prog"}), QString());
        QCOMPARE(FirstArgument({"prog", "-a", "-b"}), QStringLiteral("-a"));
    }
};

QTEST_MAIN(TestPageRules)
#include "tst_pagerules.moc"
