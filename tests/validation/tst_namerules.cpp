#include "validation/namerules.h"

#include <QDir>
#include <QLoggingCategory>
#include <QtTest>

// Folder-name and file-name rules: reserved device names in every case and extension form,
// "..", separators inside file names, and the element order of one or two paths.
class TestNameRules : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules("dravik.validation.debug=false"); }
    void folderPaths_data();
    void folderPaths();
    void everyReservedNameInEveryCase();
    void fileNames_data();
    void fileNames();
    void nativeSyntax();
};

namespace {

QString Folder(const QString& entry)
{
    return "指定されたパスには、使用できないフォルダー名\"" + entry + "\"が含まれています";
}
QString File(const QString& entry)
{
    return "指定されたファイル名には、使用できない文字\"" + entry + "\"が含まれています";
}
const QString kFilePath = QStringLiteral("ファイル名の処理の部分にファイルパスが入っています。");

} // namespace

void TestNameRules::folderPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("secondPath");
    QTest::addColumn<QString>("expected");

    QTest::newRow("aux") << R"(C:\Data\aux\)" << QString() << Folder("AUX");
    QTest::newRow("com10") << R"(C:\Data\COM10\)" << QString() << QString();
    QTest::newRow("parent") << R"(C:\a\..\b\)" << QString() << Folder("..");
    QTest::newRow("dot passes here") << R"(C:\a\.\b\)" << QString() << QString();
    QTest::newRow("doubled separators") << R"(\\server\\x\)" << QString() << QString();
    QTest::newRow("bare name") << "prn" << QString() << Folder("PRN");
    QTest::newRow("leftmost element first") << R"(C:\nul\..\)" << QString() << Folder("NUL");
    // Within one element the refused list is searched in its order; ".." comes before the devices.
    QTest::newRow("parent before device") << R"(C:\..\aux\)" << QString() << Folder("..");
    QTest::newRow("second path") << R"(C:\in\)" << R"(sub\Lpt3)" << Folder("LPT3");
    QTest::newRow("first path before second") << R"(C:\com1\)" << R"(sub\aux)" << Folder("COM1");
    QTest::newRow("both clean") << R"(C:\in\)" << R"(sub\deeper)" << QString();
    QTest::newRow("trailing blank is no match") << R"(C:\con \)" << QString() << QString();
    // Upper-casing is Unicode upper-casing; a full-width name is no device.
    QTest::newRow("full-width") << u"C:\\ＣＯＮ\\"_qs << QString() << QString();
}

void TestNameRules::folderPaths()
{
    QFETCH(QString, path);
    QFETCH(QString, secondPath);
    QFETCH(QString, expected);
    QCOMPARE(FolderPathRefusal(path, secondPath, PathSyntax::Windows()), expected);
}

void TestNameRules::everyReservedNameInEveryCase()
{
    QStringList names{"AUX", "CON", "NUL", "PRN"};
    for (int i = 0; i <= 9; ++i)
        names << QStringLiteral("COM%1").arg(i) << QStringLiteral("LPT%1").arg(i);
    for (const QString& name : names) {
        const QString lower = name.toLower();
        const QString mixed = name.left(1) + lower.mid(1);
        for (const QString& form : {name, lower, mixed}) {
            QCOMPARE(FolderPathRefusal(R"(C:\a\)" + form + R"(\b\)", {}, PathSyntax::Windows()),
                     Folder(name));
            QCOMPARE(FileNameRefusal(form, PathSyntax::Windows()), File(name));
            QCOMPARE(FileNameRefusal(form + ".jpg", PathSyntax::Windows()), File(name));
            // Only the part before the last dot counts.
            QCOMPARE(FileNameRefusal(form + ".tar.gz", PathSyntax::Windows()), QString());
            QCOMPARE(FileNameRefusal(form + "1.png", PathSyntax::Windows()), QString());
            QCOMPARE(FolderPathRefusal(R"(C:\)" + form + R"(.d\)", {}, PathSyntax::Windows()), QString());
        }
    }
}

void TestNameRules::fileNames_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("expected");

    QTest::newRow("con.txt") << "con.txt" << File("CON");
    QTest::newRow("CONSOLE.txt") << "CONSOLE.txt" << QString();
    QTest::newRow("nul without extension") << "nul" << File("NUL");
    QTest::newRow("trailing dot") << "aux." << File("AUX");
    QTest::newRow("double dots passes") << ".." << QString();
    QTest::newRow("hidden file") << ".con" << QString();
    QTest::newRow("ordinary photo") << "IMG_0001.JPG" << QString();
    // A separator is refused before the reserved-name test, whatever the name.
    QTest::newRow("separator") << R"(sub\photo.jpg)" << kFilePath;
}

void TestNameRules::fileNames()
{
    QFETCH(QString, fileName);
    QFETCH(QString, expected);
    QCOMPARE(FileNameRefusal(fileName, PathSyntax::Windows()), expected);
}

void TestNameRules::nativeSyntax()
{
    const QChar s = QDir::separator();
    const PathSyntax native = PathSyntax::Native();
    QCOMPARE(FolderPathRefusal(s + QString("home") + s + "Aux" + s, {}, native), Folder("AUX"));
    QCOMPARE(FolderPathRefusal(s + QString("home") + s + "x" + s, "a" + QString(s) + "..", native),
             Folder(".."));
    QCOMPARE(FolderPathRefusal(s + QString("home") + s + "photos" + s, {}, native), QString());
    QCOMPARE(FileNameRefusal("Lpt1.webp", native), File("LPT1"));
    QCOMPARE(FileNameRefusal("a" + QString(s) + "b.webp", native), kFilePath);
    QCOMPARE(FileNameRefusal("b.webp", native), QString());
}

QTEST_APPLESS_MAIN(TestNameRules)
#include "tst_namerules.moc"
