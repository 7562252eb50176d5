// The page editor's rules and the folder pickers' checks as plain functions. The Windows path
// forms run here through the Windows syntax, with a made-up set of existing folders.

#include "mainwindow/folderpickers.h"
#include "mainwindow/pagerules.h"

#include <QDir>
#include <QFile>
#include <QPalette>
#include <QSet>
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
    void outputFormatDecidesTheJpegSizeGroup();
    void resizeModeChoosesItsFields_data();
    void resizeModeChoosesItsFields();
    void sampleNameAndTitleColours();
    void fileDialogStartFolder_data();
    void fileDialogStartFolder();
    void chosenFolder_data();
    void chosenFolder();
    void droppedItems();
};

void TestPageRules::outputFormatDecidesTheJpegSizeGroup()
{
    const QList<std::optional<bool>> expected{std::nullopt, true,  true,  true, false,
                                              false,        false, false, std::nullopt};
    for (int index = -1; index <= 7; ++index)
        QCOMPARE(PageRules::JpegSizeGroupApplies(index), expected.at(index + 1));
}

void TestPageRules::resizeModeChoosesItsFields_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("fit");
    QTest::addColumn<QString>("fields"); // w h l m f n, "-" for a refused mode
    QTest::newRow("width, any fit") << 0 << 3 << "w....n";
    QTest::newRow("height") << 1 << 0 << ".h...n";
    QTest::newRow("long side") << 2 << 4 << "..l..n";
    QTest::newRow("magnification") << 3 << 2 << "...m.n";
    QTest::newRow("fit inside") << 4 << 0 << "wh..fn";
    QTest::newRow("fit with margins") << 4 << 1 << "wh..f.";
    QTest::newRow("fit stretched") << 4 << 4 << "wh..f.";
    QTest::newRow("fit choice out of range") << 4 << 5 << "wh..f.";
    QTest::newRow("mode past image fit") << 5 << 0 << "-";
    QTest::newRow("negative mode") << -1 << 0 << "-";
}

void TestPageRules::resizeModeChoosesItsFields()
{
    QFETCH(int, mode);
    QFETCH(int, fit);
    QFETCH(QString, fields);
    const auto got = PageRules::ResizeFieldsFor(mode, fit, 5);
    QCOMPARE(got.has_value(), fields != QLatin1String("-"));
    if (!got)
        return;
    const QString shown = QString(got->width ? u'w' : u'.') + (got->height ? u'h' : u'.')
        + (got->longSide ? u'l' : u'.') + (got->magnification ? u'm' : u'.') + (got->imageFit ? u'f' : u'.')
        + (got->notExpand ? u'n' : u'.');
    QCOMPARE(shown, fields);
}

void TestPageRules::sampleNameAndTitleColours()
{
    QCOMPARE(PageRules::SampleOutputName(true, QStringLiteral("_s")), QStringLiteral("sample_s.jpg"));
    QCOMPARE(PageRules::SampleOutputName(false, QStringLiteral("_s")), QStringLiteral("sample.jpg"));

    QPalette palette;
    palette.setColor(QPalette::Active, QPalette::Text, QColor(0x12, 0x34, 0x56));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0xab, 0xcd, 0xef));
    QCOMPARE(PageRules::TitleColourName(true, true, palette), QStringLiteral("#ffffff"));
    QCOMPARE(PageRules::TitleColourName(true, false, palette), QStringLiteral("#a6a6a6"));
    QCOMPARE(PageRules::TitleColourName(false, true, palette), QStringLiteral("#123456"));
    QCOMPARE(PageRules::TitleColourName(false, false, palette), QStringLiteral("#abcdef"));
}

void TestPageRules::fileDialogStartFolder_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("folderDialog");
    QTest::addColumn<QString>("stampDialog");
    const QString desk = kDesktop + u'\\';
    QTest::newRow("empty") << "" << desk << desk;
    QTest::newRow("existing, blanks around") << "  C:/Data  " << "C:\\Data\\" << "C:\\Data\\";
    QTest::newRow("deleted folder") << "C:\\Gone\\" << desk << desk;
    QTest::newRow("file under a missing folder") << "D:\\logos\\missing\\mark.png" << desk << "D:\\logos";
    QTest::newRow("bare drive") << "D:" << desk << desk;
    QTest::newRow("leading colon") << ":\\logos" << desk << desk;
    QTest::newRow("relative") << "logos\\mark.png" << desk << desk;
    QTest::newRow("nothing up to the root") << "E:\\a\\b.png" << desk << desk;
}

void TestPageRules::fileDialogStartFolder()
{
    QFETCH(QString, text);
    QFETCH(QString, folderDialog);
    QFETCH(QString, stampDialog);
    const FolderTest folders = WindowsFolders({kDesktop, QStringLiteral("C:\\Data"), QStringLiteral("D:\\logos")});
    QCOMPARE(FileDialogOpenDir(text, kDesktop, kWin, folders), folderDialog);
    QCOMPARE(StampDialogStartDir(text, kDesktop, kWin, folders), stampDialog);
}

void TestPageRules::chosenFolder_data()
{
    QTest::addColumn<QString>("chosen");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("message");
    QTest::newRow("forward slashes") << "C:/Data" << "C:\\Data\\" << "";
    QTest::newRow("cancelled") << "" << "" << "";
    QTest::newRow("at the limit") << "C:\\" + QString(236, u'a') << "C:\\" + QString(236, u'a') + u'\\' << "";
    QTest::newRow("past the limit") << "C:\\" + QString(237, u'a') << "" << PickerText::PathTooLong();
    QTest::newRow("device name") << "C:\\Data\\con" << "" << "*";
}

void TestPageRules::chosenFolder()
{
    QFETCH(QString, chosen);
    QFETCH(QString, path);
    QFETCH(QString, message);
    const FolderVerdict verdict = CheckChosenFolder(chosen, QStringLiteral("入力フォルダー"), 240, kWin);
    QCOMPARE(verdict.path, path);
    if (message == QLatin1String("*"))
        QVERIFY(!verdict.message.isEmpty());
    else
        QCOMPARE(verdict.message, message);
}

void TestPageRules::droppedItems()
{
    QTemporaryDir temp;
    QVERIFY(temp.isValid());
    QDir root(temp.path());
    QVERIFY(root.mkpath(QStringLiteral("a")) && root.mkpath(QStringLiteral("b")) && root.mkpath(QStringLiteral("bad?name")));
    QFile file(root.filePath(QStringLiteral("photo.jpg")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const QString deep = root.filePath(QString(120, u'd') + u'/' + QString(120, u'e'));
    QVERIFY(root.mkpath(deep));
    const auto url = [&](const QString& name) { return QUrl::fromLocalFile(root.filePath(name)); };
    const QString a = root.filePath(QStringLiteral("a")) + QDir::separator();

    struct Case { QList<QUrl> urls; QString path; QString message; };
    const QList<Case> cases{
        {{url(QStringLiteral("a"))}, QDir::toNativeSeparators(a), {}},
        {{url(QStringLiteral("a")), url(QStringLiteral("b"))}, {}, PickerText::DropOneFolder()},
        {{}, {}, PickerText::DropOneFolder()},
        {{url(QStringLiteral("photo.jpg"))}, {}, PickerText::NotAFolder()},
        {{QUrl(QStringLiteral("https://example.org/a/"))}, {}, {}},
        {{QUrl::fromLocalFile(deep)}, {}, PickerText::PathTooLong()},
    };
    for (const Case& c : cases) {
        const FolderVerdict verdict =
            CheckDroppedFolder(c.urls, QStringLiteral("入力フォルダー"), 240, PathSyntax::Native(), IsExistingFolder);
        QCOMPARE(verdict.path, c.path);
        QCOMPARE(verdict.message, c.message);
    }
    // Characters a folder path may not hold are refused by the path rules, naming the field.
    const FolderVerdict bad = CheckDroppedFolder({url(QStringLiteral("bad?name"))}, QStringLiteral("入力フォルダー"),
                                                 240, PathSyntax::Native(), IsExistingFolder);
    QVERIFY(bad.path.isEmpty());
    QVERIFY(bad.message.contains(QStringLiteral("入力フォルダー")));
}

QTEST_MAIN(TestPageRules)
#include "tst_pagerules.moc"
