// The search for input files on real folder trees, and the output-name conflicts.

#include "pipeline/filesearch.h"
#include "pipeline/outputconflicts.h"
#include "testmonitors.h"

#include <QtTest>

namespace {

// Creates one small file per relative path (slashes) below the folder; returns the folder
// in the form the search takes (native, with a trailing separator).
QString Tree(const QTemporaryDir &dir, const QStringList &paths)
{
    for (const QString &path : paths) {
        QDir().mkpath(QFileInfo(dir.filePath(path)).path());
        QFile file(dir.filePath(path));
        if (file.open(QIODevice::WriteOnly))
            file.write("x");
    }
    return Native(dir.path()) + QDir::separator();
}

struct Search
{
    QStringList files, conflicts;
    QString status;
    bool walked = false;
};

Search Run(TestSearchMonitor &monitor, const QString &inputDir, bool subFolder = true,
           const QString &outformat = QStringLiteral("same"), const QString &outputDir = QStringLiteral("/nowhere/"))
{
    Search s;
    s.walked = GetAll(&monitor, &s.files, inputDir, subFolder, QString(), 0, outformat, &s.conflicts, &s.status, outputDir);
    return s;
}

QSet<QString> Natives(const QStringList &paths)
{
    QSet<QString> set;
    for (const QString &path : paths)
        set << Native(path);
    return set;
}

} // namespace

class TestFileSearch : public QObject
{
    Q_OBJECT

private slots:
    // Image suffixes of any case only, sub-folders on and off, folder before its sub-folders,
    // and the output folder (and any folder whose name begins its path) left out.
    void findsTheImagesOfTheTree()
    {
        QTemporaryDir dir;
        const QString root = Tree(dir, {"a.JPG", "b.txt", "c", "d.webp", "e.Png", "f.jpeg", "g.AVIF", "h.gif.bak", "i.GiF", "j.",
                                        ".hidden.png", "folder.png/x", "sub/one.jpg", "sub/deeper/two.gif", "out/old.png",
                                        "out2/older.png", "OUTPUT/keep.png"});
        const QStringList top{"a.JPG", "d.webp", "e.Png", "f.jpeg", "g.AVIF", "i.GiF"};
        TestSearchMonitor monitor;
        Search s = Run(monitor, root, false);
        QCOMPARE(Natives(s.files), Natives(top));
        QCOMPARE(monitor.progressDone.load(), 1);
        s = Run(monitor, root, true, "same", root + Native("OUT2/"));
        QCOMPARE(Natives(s.files), Natives(top + QStringList{"sub/one.jpg", "sub/deeper/two.gif", "OUTPUT/keep.png"}));
        QCOMPARE(Natives(s.files.mid(0, top.size())), Natives(top));
        QCOMPARE(s.files.indexOf(Native("sub/deeper/two.gif")), s.files.indexOf(Native("sub/one.jpg")) + 1);
    }

    // 120 folder levels are refused: the branch that reaches them, not the rest of the search.
    void depthLimit()
    {
        QTemporaryDir dir;
        const QString deep = QStringList(119, QStringLiteral("d")).join('/') + "/deep.png";
        const QString root = Tree(dir, {deep});
        TestSearchMonitor monitor;
        QCOMPARE(Run(monitor, root).status, QString());
        Tree(dir, {QStringList(120, QStringLiteral("d")).join('/') + "/deeper.png"});
        const Search s = Run(monitor, root);
        QCOMPARE(s.status, SearchStatus::TooDeep());
        QVERIFY(s.walked);
        QCOMPARE(s.files, QStringList{Native(deep)});
    }

    // Names that would meet once the extension changes, per folder, groups in list order.
    void conflictsArePerFolderAndOnlyWhenTheExtensionChanges()
    {
        QTemporaryDir dir;
        const QString root = Tree(dir, {"a.png", "b.png", "A.jpg", "a.GIF", "single.png", "sub/a.avif", "sub/b.jpg"});
        TestSearchMonitor monitor;
        Search s = Run(monitor, root, true, "jpg");
        QCOMPARE(s.status, SearchStatus::ConflictError());
        QCOMPARE(Natives(s.conflicts), Natives({"a.png", "A.jpg", "a.GIF"}));
        QCOMPARE(Run(monitor, root, true, "same").files.size(), 7);
        QStringList conflicts;
        FindNameConflicts({"x.png", "a.png", "b.png", "a.jpg", "A.gif", "photo.JPG", "photo.jpeg"}, 1, &conflicts);
        QCOMPARE(conflicts, QStringList({"a.png", "a.jpg", "A.gif", "photo.JPG", "photo.jpeg"}));
    }

    // Reserved names are reported and left out; a reserved folder or a bad folder text ends
    // the search with its status; in a batch only a refusal ends the dialog.
    void refusalsEndOrNarrowTheSearch()
    {
        QTemporaryDir dir;
        const QString root = Tree(dir, {"con.png", "con.tar.png", "fine.png"});
        TestSearchMonitor monitor;
        Search s = Run(monitor, root);
        QCOMPARE(Natives(s.files), Natives({"con.tar.png", "fine.png"}));
        QCOMPARE(s.status, QString());
        QVERIFY(monitor.refusals.size() == 1 && monitor.refusals.first().contains("CON"));
        Tree(dir, {"aux/inside.png"});
        QCOMPARE(Run(monitor, root).status, SearchStatus::OutputError());
        QVERIFY(monitor.refusals.last().contains("AUX"));

        QCOMPARE(Run(monitor, QString()).status, SearchStatus::EmptyPath());
        QCOMPARE(Run(monitor, Native(dir.path())).status, SearchStatus::NoTrailingSeparator());
        monitor.batchMode = true;
        monitor.progressDone = 0;
        QVERIFY(Run(monitor, root, false).status.isEmpty());
        QCOMPARE(monitor.progressDone.load(), 0);
        monitor.flags.SetCancel(true);
        QCOMPARE(Run(monitor, root).status, SearchStatus::Interrupted());
        QCOMPARE(monitor.progressDone.load(), 1);
    }

    // A cancel at the refusal of con.png keeps the files found before it; a cancel while many
    // names are examined at once ends the search too, and the threads lose no name.
    void cancelKeepsWhatWasFound()
    {
        QTemporaryDir dir;
        const QString root = Tree(dir, {"top.png", "con.png", "sub1/x.png", "sub2/x.png"});
        TestSearchMonitor monitor;
        monitor.onRefusal = [&] { monitor.flags.SetCancel(true); };
        Search s = Run(monitor, root);
        QCOMPARE(s.status, SearchStatus::Interrupted());
        QCOMPARE(s.files, QStringList{"top.png"});

        QTemporaryDir large;
        QStringList names{"nul.png"};
        for (int i = 0; i < kParallelNamesMin; ++i)
            names << QStringLiteral("n%1.JPG").arg(i) << QStringLiteral("n%1.txt").arg(i);
        const QString many = Tree(large, names);
        TestSearchMonitor team;
        s = Run(team, many, false);
        QCOMPARE(s.files.size(), kParallelNamesMin);
        QCOMPARE(QSet<QString>(s.files.cbegin(), s.files.cend()).size(), s.files.size());
        team.onRefusal = [&] { team.flags.SetCancel(true); };
        QCOMPARE(Run(team, many, false).status, SearchStatus::Interrupted());
    }
};

QTEST_GUILESS_MAIN(TestFileSearch)
#include "tst_filesearch.moc"
