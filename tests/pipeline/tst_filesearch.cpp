// The search for input files on real folder trees, and the output-name conflicts.

#include "pipeline/filesearch.h"
#include "pipeline/outputconflicts.h"
#include "testmonitors.h"

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <QtTest>

#include <thread>

namespace {

void Touch(const QString &path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    file.write("x");
}

QString Native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

struct Search
{
    QStringList files;
    QStringList conflicts;
    QString status;
    bool walked = false;
};

Search Run(TestSearchMonitor &monitor, const QString &inputDir, bool subFolder,
           const QString &outformat = QStringLiteral("same"), const QString &outputDir = QString())
{
    Search s;
    s.walked = GetAll(&monitor, &s.files, inputDir, subFolder, QString(), 0, outformat,
                      &s.conflicts, &s.status, outputDir.isEmpty() ? QStringLiteral("/nowhere/") : outputDir);
    return s;
}

QSet<QString> AsSet(const QStringList &list)
{
    return QSet<QString>(list.cbegin(), list.cend());
}

} // namespace

class TestFileSearch : public QObject
{
    Q_OBJECT

private:
    QString FolderOf(const QTemporaryDir &dir) { return Native(dir.path()) + QDir::separator(); }

private slots:
    void acceptsImageSuffixesOfAnyCaseOnly()
    {
        QTemporaryDir dir;
        for (const char *name : {"a.JPG", "b.txt", "c", "d.webp", "e.Png", "f.jpeg", "g.AVIF",
                                 "h.gif.bak", "i.GiF", "j.", ".hidden.png"})
            Touch(dir.filePath(name));
        QVERIFY(QDir().mkpath(dir.filePath("folder.png")));

        TestSearchMonitor monitor;
        const Search s = Run(monitor, FolderOf(dir), true);
        QVERIFY(s.walked);
        QCOMPARE(s.status, QString());
        QCOMPARE(AsSet(s.files), QSet<QString>({"a.JPG", "d.webp", "e.Png", "f.jpeg", "g.AVIF", "i.GiF"}));
        QCOMPARE(monitor.progressDone.load(), 1);

        QVERIFY(IsUseExtension(dir.filePath("a.JPG")));
        QVERIFY(!IsUseExtension(dir.filePath("folder.png")));
        QVERIFY(!IsUseExtension(dir.filePath("missing.png")));
        QVERIFY(!IsUseExtension(dir.filePath("c")));
    }

    void subFoldersOnAndOff()
    {
        QTemporaryDir dir;
        Touch(dir.filePath("top.png"));
        Touch(dir.filePath("sub/one.jpg"));
        Touch(dir.filePath("sub/deeper/two.gif"));
        Touch(dir.filePath("other/three.webp"));

        TestSearchMonitor monitor;
        Search s = Run(monitor, FolderOf(dir), false);
        QCOMPARE(s.files, QStringList({"top.png"}));

        s = Run(monitor, FolderOf(dir), true);
        const QString sep = QDir::separator();
        QCOMPARE(AsSet(s.files), QSet<QString>({"top.png", "sub" + sep + "one.jpg",
                                                "sub" + sep + "deeper" + sep + "two.gif",
                                                "other" + sep + "three.webp"}));
        // A folder's files come before those of its sub-folders, depth first.
        QCOMPARE(s.files.first(), QString("top.png"));
        QCOMPARE(s.files.indexOf("sub" + sep + "deeper" + sep + "two.gif"),
                 s.files.indexOf("sub" + sep + "one.jpg") + 1);
        for (const QString &file : s.files)
            QVERIFY2(QFileInfo(FolderOf(dir) + file).isFile(), qPrintable(file));
    }

    void outputFolderAndPrefixFoldersAreSkipped()
    {
        QTemporaryDir dir;
        Touch(dir.filePath("a.png"));
        Touch(dir.filePath("out/old.png"));
        Touch(dir.filePath("out2/older.png"));
        Touch(dir.filePath("outside/keep.png"));
        Touch(dir.filePath("OUTPUT/keep.png"));
        const QString sep = QDir::separator();

        TestSearchMonitor monitor;
        // Output inside the input: its folder is not searched.
        Search s = Run(monitor, FolderOf(dir), true, "same", FolderOf(dir) + "out" + sep);
        QVERIFY(!s.files.contains("out" + sep + "old.png"));
        QVERIFY(s.files.contains("out2" + sep + "older.png"));
        QVERIFY(s.files.contains("outside" + sep + "keep.png"));

        // Output in out2: "out" is a prefix of its path and is left out as well, without
        // regard to case ("OUTPUT" is no prefix of ".../out2/").
        s = Run(monitor, FolderOf(dir), true, "same", FolderOf(dir) + "OUT2" + sep);
        QCOMPARE(AsSet(s.files), QSet<QString>({"a.png", "outside" + sep + "keep.png",
                                                "OUTPUT" + sep + "keep.png"}));
    }

    void depthLimit()
    {
        QTemporaryDir dir;
        const QString sep = QDir::separator();
        QString relative;
        for (int level = 1; level <= 119; ++level)
            relative += (relative.isEmpty() ? "" : sep) + QStringLiteral("d");
        Touch(FolderOf(dir) + relative + sep + "deep.png");

        TestSearchMonitor monitor;
        Search s = Run(monitor, FolderOf(dir), true);
        QCOMPARE(s.status, QString());
        QCOMPARE(s.files, QStringList({relative + sep + "deep.png"}));

        Touch(FolderOf(dir) + relative + sep + "d" + sep + "deeper.png");
        monitor.progressDone = 0;
        s = Run(monitor, FolderOf(dir), true);
        QCOMPARE(s.status, SearchStatus::TooDeep());
        // The top folder was walked; only the branch that reached the limit was refused.
        QVERIFY(s.walked);
        QCOMPARE(s.files, QStringList({relative + sep + "deep.png"}));
        QCOMPARE(monitor.progressDone.load(), 1);
    }

    void conflictsArePerFolderAndOnlyWhenTheExtensionChanges()
    {
        QTemporaryDir dir;
        for (const char *name : {"a.png", "b.png", "A.jpg", "a.GIF", "Photo.png", "photo.webp",
                                 "single.png", "sub/a.avif", "sub/b.jpg"})
            Touch(dir.filePath(name));

        TestSearchMonitor monitor;
        Search s = Run(monitor, FolderOf(dir), true, "jpg");
        QCOMPARE(s.status, SearchStatus::ConflictError());
        QCOMPARE(AsSet(s.conflicts), QSet<QString>({"a.png", "A.jpg", "a.GIF", "Photo.png", "photo.webp"}));
        // Groups stay together: the three "a" files are adjacent.
        qsizetype first = 0;
        while (first < s.conflicts.size() && !s.conflicts.at(first).startsWith("a", Qt::CaseInsensitive))
            ++first;
        QVERIFY(first + 3 <= s.conflicts.size());
        for (qsizetype k = first; k < first + 3; ++k)
            QVERIFY2(s.conflicts.at(k).startsWith("a", Qt::CaseInsensitive), qPrintable(s.conflicts.join(',')));
        QCOMPARE(monitor.progressDone.load(), 1);

        s = Run(monitor, FolderOf(dir), true, "same");
        QCOMPARE(s.status, QString());
        QVERIFY(s.conflicts.isEmpty());
        QCOMPARE(s.files.size(), 9);
    }

    void conflictGroupsFollowTheListOrder()
    {
        QStringList conflicts;
        FindNameConflicts({"x.png", "a.png", "b.png", "a.jpg", "A.gif", "photo.JPG", "photo.jpeg"},
                          1, &conflicts);
        QCOMPARE(conflicts, QStringList({"a.png", "a.jpg", "A.gif", "photo.JPG", "photo.jpeg"}));
        // Entries before the start index belong to another folder and are not compared.
        conflicts.clear();
        FindNameConflicts({"a.png", "a.jpg"}, 1, &conflicts);
        QVERIFY(conflicts.isEmpty());
    }

    void refusedNamesAreReportedAndLeftOut()
    {
        QTemporaryDir dir;
        Touch(dir.filePath("con.png"));
        Touch(dir.filePath("con.tar.png"));
        Touch(dir.filePath("fine.png"));
        TestSearchMonitor monitor;
        Search s = Run(monitor, FolderOf(dir), true);
        QCOMPARE(AsSet(s.files), QSet<QString>({"con.tar.png", "fine.png"}));
        QCOMPARE(s.status, QString());
        QCOMPARE(monitor.refusals.size(), 1);
        QVERIFY(monitor.refusals.first().contains("CON"));

        Touch(dir.filePath("aux/inside.png"));
        monitor.refusals.clear();
        s = Run(monitor, FolderOf(dir), true);
        QCOMPARE(s.status, SearchStatus::OutputError());
        QVERIFY(!s.files.contains(Native("aux/inside.png")));
        QVERIFY(monitor.refusals.join(' ').contains("AUX"));
    }

    void refusedFolderTexts()
    {
        TestSearchMonitor monitor;
        Search s = Run(monitor, QString(), true);
        QVERIFY(!s.walked);
        QCOMPARE(s.status, SearchStatus::EmptyPath());
        QCOMPARE(monitor.progressDone.load(), 1);

        QTemporaryDir dir;
        Touch(dir.filePath("a.png"));
        s = Run(monitor, Native(dir.path()), true);
        QCOMPARE(s.status, SearchStatus::NoTrailingSeparator());
        QVERIFY(s.files.isEmpty());

        // In batch mode a refusal still ends the dialog; a normal end is left to the driver.
        monitor.batchMode = true;
        monitor.progressDone = 0;
        s = Run(monitor, FolderOf(dir), true);
        QCOMPARE(s.files, QStringList({"a.png"}));
        QCOMPARE(monitor.progressDone.load(), 0);
        monitor.flags.SetCancel(true);
        s = Run(monitor, FolderOf(dir), true);
        QCOMPARE(s.status, SearchStatus::Interrupted());
        QCOMPARE(monitor.progressDone.load(), 1);
    }

    void cancelWhileTheQuestionIsOpen()
    {
        QTemporaryDir dir;
        for (int i = 0; i < 50; ++i)
            Touch(dir.filePath(QStringLiteral("f%1/img%2.png").arg(i % 5).arg(i)));
        Touch(dir.filePath("top.png"));

        TestSearchMonitor monitor;
        monitor.flags.SetQuestionShowing(true);
        Search s;
        std::thread worker([&] { s = Run(monitor, FolderOf(dir), true); });
        // While the question is open, nothing is examined and the search does not end.
        QTest::qWait(200);
        QCOMPARE(monitor.progressDone.load(), 0);
        QVERIFY(s.files.isEmpty());
        monitor.flags.SetCancel(true);
        monitor.flags.SetQuestionShowing(false);
        worker.join();
        QCOMPARE(s.status, SearchStatus::Interrupted());
        QVERIFY(s.files.isEmpty());
        QCOMPARE(monitor.progressDone.load(), 1);

        // A "No" answer lets the search go on as if nothing had happened.
        TestSearchMonitor second;
        second.flags.SetQuestionShowing(true);
        std::thread again([&] { s = Run(second, FolderOf(dir), true); });
        QTest::qWait(100);
        second.flags.SetQuestionShowing(false);
        again.join();
        QCOMPARE(s.status, QString());
        QCOMPARE(s.files.size(), 51);
    }

    void largeFolderIsExaminedByTheTeam()
    {
        QTemporaryDir dir;
        QSet<QString> expected;
        const int count = kParallelNamesMin * 3;
        for (int i = 0; i < count; ++i) {
            const QString name = QStringLiteral("n%1.%2").arg(i).arg(i % 3 == 0 ? "txt" : "JPG");
            Touch(dir.filePath(name));
            if (i % 3 != 0)
                expected << name;
        }
        Touch(dir.filePath("nul.png"));
        TestSearchMonitor monitor;
        Search s = Run(monitor, FolderOf(dir), false, "png");
        QCOMPARE(s.files.size(), expected.size());   // no entry lost or doubled by the threads
        QCOMPARE(AsSet(s.files), expected);
        QCOMPARE(monitor.refusals.size(), 1);
        QCOMPARE(s.status, QString());

        // A cancel confirmed while the team works: the search ends interrupted, and what it
        // listed before is still sound.
        monitor.onRefusal = [&] { monitor.flags.SetCancel(true); };
        s = Run(monitor, FolderOf(dir), false, "png");
        QCOMPARE(s.status, SearchStatus::Interrupted());
        QVERIFY(AsSet(s.files).subtract(expected).isEmpty());
    }

    void cancelMidwayKeepsTheFilesFoundSoFar()
    {
        QTemporaryDir dir;
        Touch(dir.filePath("top.png"));
        Touch(dir.filePath("con.png"));      // its refusal is where the user cancels
        for (int i = 0; i < 5; ++i)
            Touch(dir.filePath(QStringLiteral("sub%1/x.png").arg(i)));
        TestSearchMonitor monitor;
        monitor.onRefusal = [&] { monitor.flags.SetCancel(true); };
        const Search s = Run(monitor, FolderOf(dir), true);
        QCOMPARE(s.status, SearchStatus::Interrupted());
        QCOMPARE(s.files, QStringList({"top.png"}));
        QCOMPARE(monitor.progressDone.load(), 1);
    }
};

QTEST_GUILESS_MAIN(TestFileSearch)
#include "tst_filesearch.moc"
