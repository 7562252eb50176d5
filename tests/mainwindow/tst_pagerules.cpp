// The page editor's rules and the folder pickers' checks as plain functions. The Windows path
// forms run here through the Windows syntax, with a made-up set of existing folders.

#include "mainwindow/folderpickers.h"
#include "mainwindow/pagerules.h"

#include <QDir>
#include <QFile>
#include <QPalette>
#include <QTemporaryDir>
#include <QTest>

namespace {

const PathSyntax kWin = PathSyntax::Windows();
const QString kDesktop = QStringLiteral("C:\\Users\\me\\Desktop");

FolderTest WindowsFolders(const QStringList& folders)
{
    return [folders](const QString& path) {
        QString p = path;
        p.replace(u'/', u'\\');
        while (p.size() > 3 && p.endsWith(u'\\'))
            p.chop(1);
        return folders.contains(p, Qt::CaseInsensitive);
    };
}

} // namespace

class TestPageRules : public QObject
{
    Q_OBJECT

private slots:
    void resizeModeChoosesItsFields();
    void titleColoursFollowTheTheme();
    void dialogStartFolders();
    void chosenFolder();
    void droppedItems();
};

void TestPageRules::resizeModeChoosesItsFields()
{
    // mode, image-fit choice, usable fields: w h l m f n ("-" for a refused mode)
    const QList<std::tuple<int, int, QString>> cases{
        {0, 3, QStringLiteral("w....n")}, {1, 0, QStringLiteral(".h...n")}, {2, 4, QStringLiteral("..l..n")},
        {3, 2, QStringLiteral("...m.n")}, {4, 0, QStringLiteral("wh..fn")}, {4, 1, QStringLiteral("wh..f.")},
        {4, 4, QStringLiteral("wh..f.")}, {4, 5, QStringLiteral("wh..f.")}, {5, 0, QStringLiteral("-")},
        {-1, 0, QStringLiteral("-")},
    };
    for (const auto& [mode, fit, fields] : cases) {
        const auto got = PageRules::ResizeFieldsFor(mode, fit, 5);
        const QString shown = !got ? QStringLiteral("-")
            : QString(got->width ? u'w' : u'.') + (got->height ? u'h' : u'.') + (got->longSide ? u'l' : u'.')
                + (got->magnification ? u'm' : u'.') + (got->imageFit ? u'f' : u'.') + (got->notExpand ? u'n' : u'.');
        QCOMPARE(shown, fields);
    }
}

void TestPageRules::titleColoursFollowTheTheme()
{
    QPalette palette;
    palette.setColor(QPalette::Active, QPalette::Text, QColor(0x12, 0x34, 0x56));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0xab, 0xcd, 0xef));
    QCOMPARE(PageRules::TitleColourName(true, true, palette), QStringLiteral("#ffffff"));
    QCOMPARE(PageRules::TitleColourName(true, false, palette), QStringLiteral("#a6a6a6"));
    QCOMPARE(PageRules::TitleColourName(false, true, palette), QStringLiteral("#123456"));
    QCOMPARE(PageRules::TitleColourName(false, false, palette), QStringLiteral("#abcdef"));
}

void TestPageRules::dialogStartFolders()
{
    const FolderTest folders = WindowsFolders({kDesktop, QStringLiteral("C:\\Data"), QStringLiteral("D:\\logos")});
    const QString desk = kDesktop + u'\\';
    // box text, folder dialog's start, stamp dialog's start
    const QList<std::tuple<QString, QString, QString>> cases{
        {QString(), desk, desk},
        {QStringLiteral("  C:/Data  "), QStringLiteral("C:\\Data\\"), QStringLiteral("C:\\Data\\")},
        {QStringLiteral("C:\\Gone\\"), desk, desk},
        {QStringLiteral("D:\\logos\\missing\\mark.png"), desk, QStringLiteral("D:\\logos")},
        {QStringLiteral("D:"), desk, desk},
        {QStringLiteral(":\\logos"), desk, desk},
        {QStringLiteral("logos\\mark.png"), desk, desk},
        {QStringLiteral("E:\\a\\b.png"), desk, desk},
    };
    for (const auto& [text, folderDialog, stampDialog] : cases) {
        QCOMPARE(FileDialogOpenDir(text, kDesktop, kWin, folders), folderDialog);
        QCOMPARE(StampDialogStartDir(text, kDesktop, kWin, folders), stampDialog);
    }
}

void TestPageRules::chosenFolder()
{
    const QString longest = QStringLiteral("C:\\") + QString(236, u'a');
    const QList<std::tuple<QString, QString, QString>> cases{
        {QStringLiteral("C:/Data"), QStringLiteral("C:\\Data\\"), {}},
        {{}, {}, {}},
        {longest, longest + u'\\', {}},
        {longest + u'a', {}, PickerText::PathTooLong()},
    };
    for (const auto& [chosen, path, message] : cases) {
        const FolderVerdict verdict = CheckChosenFolder(chosen, QStringLiteral("入力フォルダー"), 240, kWin);
        QCOMPARE(verdict.path, path);
        QCOMPARE(verdict.message, message);
    }
    const FolderVerdict device = CheckChosenFolder(QStringLiteral("C:\\Data\\con"), QStringLiteral("x"), 240, kWin);
    QVERIFY(device.path.isEmpty() && !device.message.isEmpty());
}

void TestPageRules::droppedItems()
{
    QTemporaryDir temp;
    QDir root(temp.path());
    const QString deep = QString(120, u'd') + u'/' + QString(120, u'e');
    QVERIFY(root.mkpath(QStringLiteral("a")) && root.mkpath(QStringLiteral("bad?name")) && root.mkpath(deep));
    QFile file(root.filePath(QStringLiteral("photo.jpg")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const auto url = [&](const QString& name) { return QUrl::fromLocalFile(root.filePath(name)); };
    const QString bad = QStringLiteral("*"); // the path rules' own message, naming the field
    const QList<std::tuple<QList<QUrl>, QString, QString>> cases{
        {{url(QStringLiteral("a"))}, QDir::toNativeSeparators(root.filePath(QStringLiteral("a/"))), {}},
        {{url(QStringLiteral("a")), url(QStringLiteral("a"))}, {}, PickerText::DropOneFolder()},
        {{}, {}, PickerText::DropOneFolder()},
        {{url(QStringLiteral("photo.jpg"))}, {}, PickerText::NotAFolder()},
        {{QUrl(QStringLiteral("https://example.org/a/"))}, {}, {}},
        {{url(deep)}, {}, PickerText::PathTooLong()},
        {{url(QStringLiteral("bad?name"))}, {}, bad},
    };
    for (const auto& [urls, path, message] : cases) {
        const FolderVerdict verdict =
            CheckDroppedFolder(urls, QStringLiteral("入力フォルダー"), 240, PathSyntax::Native(), IsExistingFolder);
        QCOMPARE(verdict.path, path);
        if (message == bad)
            QVERIFY(verdict.message.contains(QStringLiteral("入力フォルダー")));
        else
            QCOMPARE(verdict.message, message);
    }
}

QTEST_MAIN(TestPageRules)
#include "tst_pagerules.moc"
