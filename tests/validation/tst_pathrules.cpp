#include "validation/pathrules.h"

#include <QDir>
#include <QLoggingCategory>
#include <QtTest>

// The path-name rules through both syntaxes: the Windows forms with the Windows syntax, and
// the same situations written for the platform the tests run on with the native syntax.
class TestPathRules : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules("dravik.validation.debug=false"); }
    void windowsPaths_data();
    void windowsPaths();
    void nativePaths_data();
    void nativePaths();
    void unusableCharacters();
    void changePathDelimiter();
};

namespace {

const QString kField = QStringLiteral("入力フォルダー");

// Expected texts are spelled out here rather than taken from the code under test.
QString Unusable(const QString& path)
{
    return "Unusable characters : " + kField + "\n使用不可の文字が使用されています。\n" + path;
}
QString Pair(const QString& path, const QString& pair)
{
    return kField + "の指定が無効です。\nUNCパスの先頭以外で「" + pair + "」が使用されています。\n" + path;
}
QString Device(const QString& path, const QString& prefix)
{
    return kField + "の指定が無効です。\nUNCパスに「" + prefix + "」が使用されています。\n" + path;
}
QString Server(const QString& path)
{
    return kField + "の指定が無効です。\nUNCパスにアルファベットや数字以外が使用されています。\n" + path;
}
QString NoRoot(const QString& path)
{
    return kField + "の指定が無効です。\nルート指定ではありませんでした。\n" + path;
}
QString Colon(const QString& path)
{
    return kField + "の指定が無効です。\nドライブ指定以外で「:」が使用されていました。」\n" + path;
}
QString Relative(const QString& path)
{
    return kField + "の指定が無効です。\n相対パスが使用されていました。\n" + path;
}
QString NotAbsolute(const QString& path)
{
    return kField + "の指定が無効です。\n絶対パスではありませんでした。\n" + path;
}
QString Folder(const QString& entry)
{
    return "指定されたパスには、使用できないフォルダー名\"" + entry + "\"が含まれています";
}

void AddRow(const char* name, const QString& path, const QString& expected)
{
    QTest::newRow(name) << path << expected;
}

} // namespace

void TestPathRules::windowsPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");

    // Drive form.
    AddRow("drive root", R"(C:\Images\)", {});
    AddRow("bare drive", "C:", NoRoot("C:"));
    AddRow("drive without root", R"(C:Images\)", NoRoot(R"(C:Images\)"));
    AddRow("second colon", R"(C:\a:b\)", Colon(R"(C:\a:b\)"));
    AddRow("colon without drive", R"(Images:x\)", Colon(R"(Images:x\)"));
    AddRow("non-ascii drive letter", u"Ä:\\x\\"_qs, Colon(u"Ä:\\x\\"_qs));

    // Doubled separators and UNC form.
    AddRow("pair inside drive path", R"(C:\a\\b\)", Pair(R"(C:\a\\b\)", R"(\\)"));
    AddRow("unc", R"(\\server\share\)", {});
    AddRow("unc second pair", R"(\\server\\share\)", Pair(R"(\\server\\share\)", R"(\\)"));
    AddRow("unc device namespace", R"(\\.\C:\)", Device(R"(\\.\C:\)", R"(\\.\)"));
    AddRow("unc question prefix", R"(\\?\C:\)", Unusable(R"(\\?\C:\)"));
    AddRow("unc bad server start", R"(\\-srv\share\)", Server(R"(\\-srv\share\)"));
    AddRow("unc dot server", R"(\\.srv\)", Server(R"(\\.srv\)"));
    AddRow("unc reserved share", R"(\\server\con\)", Folder("CON"));
    AddRow("unc colon", R"(\\server\a:b\)", Colon(R"(\\server\a:b\)"));

    // Characters; the first failing rule wins, so these never reach the later rules.
    AddRow("tab", "C:\\a\tb\\", Unusable("C:\\a\tb\\"));
    AddRow("nul character", QString("C:\\a") + QChar(0) + "\\", Unusable(QString("C:\\a") + QChar(0) + "\\"));
    AddRow("space is usable", R"(C:\my images\)", {});
    AddRow("vertical bar", R"(C:\a|b\)", Unusable(R"(C:\a|b\)"));
    AddRow("unusable before pair", R"(C:\a\\|\)", Unusable(R"(C:\a\\|\)"));

    // Elements: dots, parent folders, reserved device names.
    AddRow("dot element", R"(C:\a\.\b\)", Relative(R"(C:\a\.\b\)"));
    AddRow("element ending in dot", R"(C:\name.\)", Relative(R"(C:\name.\)"));
    AddRow("parent element", R"(C:\a\..\b\)", Folder(".."));
    AddRow("reserved con", R"(C:\CON\)", Folder("CON"));
    AddRow("reserved lpt1 lower case", R"(C:\Data\lpt1\)", Folder("LPT1"));
    AddRow("reserved com0", R"(C:\Com0\)", Folder("COM0"));
    AddRow("reserved with extension", R"(C:\CON.txt\)", {});
    AddRow("com10", R"(C:\COM10\)", {});
    AddRow("first reserved element reported", R"(C:\aux\prn\)", Folder("AUX"));

    // Relative and short paths.
    AddRow("relative", R"(Images\)", NotAbsolute(R"(Images\)"));
    AddRow("empty", "", NotAbsolute(""));
    AddRow("dot root", R"(.\)", Relative(R"(.\)"));
    // A leading separator names the root of the current drive, which Windows counts as absolute.
    AddRow("root of the current drive", R"(\Images\)", {});
    AddRow("current-drive root with dot element", R"(\a\.\)", Relative(R"(\a\.\)"));
}

void TestPathRules::windowsPaths()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(PathNameRefusal(path, kField, PathSyntax::Windows()), expected);
}

void TestPathRules::nativePaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    if (QDir::separator() != u'/')
        return;

    AddRow("absolute", "/home/user/Images/", {});
    AddRow("drive form is relative here", "C:/Images/", NotAbsolute("C:/Images/"));
    AddRow("drive without root", "C:Images/", NoRoot("C:Images/"));
    AddRow("pair", "/home//b/", Pair("/home//b/", "//"));
    AddRow("reserved", "/home/Con/", Folder("CON"));
    // A backslash is an ordinary character to the rules where it is no separator.
    AddRow("backslash", "/home/a\\b/", {});
}

void TestPathRules::nativePaths()
{
    if (QDir::separator() != u'/')
        QSKIP("native rows are written for a slash-separated platform");
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(PathNameRefusal(path, kField, PathSyntax::Native()), expected);
}

void TestPathRules::unusableCharacters()
{
    QVERIFY(HasNoUnusableCharacters(QString(), false));
    QVERIFY(HasNoUnusableCharacters(u"_small-ñ 日本 .+[]()"_qs, true));
    for (const QChar ch : u"?*\"<>|"_qs) {
        const QString text = "ab" + QString(ch) + "cd";
        QVERIFY2(!HasNoUnusableCharacters(text, false), qPrintable(text));
        QVERIFY2(!HasNoUnusableCharacters(text, true), qPrintable(text));
    }
    // Separators and the colon count only with the flag.
    for (const QChar ch : u"\\/:"_qs) {
        const QString text = "ab" + QString(ch) + "cd";
        QVERIFY2(HasNoUnusableCharacters(text, false), qPrintable(text));
        QVERIFY2(!HasNoUnusableCharacters(text, true), qPrintable(text));
    }
    QVERIFY(!HasNoUnusableCharacters("??", false));
    QVERIFY(!HasNoUnusableCharacters("|", false));
}

void TestPathRules::changePathDelimiter()
{
    QString windows = R"(C:/a\b//c\\d/)";
    ChangePathDelimiter(windows, PathSyntax::Windows());
    QCOMPARE(windows, QString(R"(C:\a\b\\c\\d\)"));

    QString native = R"(/home\user/x\)";
    ChangePathDelimiter(native);
    const QChar s = QDir::separator();
    QCOMPARE(native, QString(s) + "home" + s + "user" + s + "x" + s);

    QString plain = u"日本語 name"_qs;
    ChangePathDelimiter(plain);
    QCOMPARE(plain, u"日本語 name"_qs);
}

QTEST_APPLESS_MAIN(TestPathRules)
#include "tst_pathrules.moc"
