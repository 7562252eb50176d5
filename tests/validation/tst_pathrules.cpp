#include "validation/namerules.h"
#include "validation/pathrules.h"

#include <QLoggingCategory>
#include <QtTest>

// The path and name rules on Windows paths through the Windows syntax, plus the same
// situations in the syntax of the platform the tests run on.
class TestPathRules : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules("dravik.validation.debug=false"); }
    void rules_data();
    void rules();
    void everyReservedNameInEveryCase();
    void unusableCharactersAndSeparators();
};

namespace {

const QString kField = QStringLiteral("入力フォルダー");

// Expected texts are spelled out here rather than taken from the code under test.
QString Invalid(const QString& reason, const QString& path)
{
    return kField + "の指定が無効です。\n" + reason + "\n" + path;
}
QString Unusable(const QString& path)
{
    return "Unusable characters : " + kField + "\n使用不可の文字が使用されています。\n" + path;
}
QString Folder(const QString& entry)
{
    return "指定されたパスには、使用できないフォルダー名\"" + entry + "\"が含まれています";
}
QString File(const QString& entry)
{
    return "指定されたファイル名には、使用できない文字\"" + entry + "\"が含まれています";
}
const QString kColon = QStringLiteral("ドライブ指定以外で「:」が使用されていました。」");
const QString kNoRoot = QStringLiteral("ルート指定ではありませんでした。");
const QString kRelative = QStringLiteral("相対パスが使用されていました。");
const QString kNotAbsolute = QStringLiteral("絶対パスではありませんでした。");
const QString kPair = QStringLiteral("UNCパスの先頭以外で「\\\\」が使用されています。");

// The rule a row goes through: P the path rules, F the folder names (of one path, or of two
// split at "|"), N a file name; a lower-case letter uses the native syntax.
QString Apply(char rule, const QString& text)
{
    const PathSyntax syntax = QChar(rule).isUpper() ? PathSyntax::Windows() : PathSyntax::Native();
    switch (QChar(rule).toUpper().toLatin1()) {
    case 'P': return PathNameRefusal(text, kField, syntax);
    case 'F': return FolderPathRefusal(text.section('|', 0, 0), text.section('|', 1), syntax);
    default: return FileNameRefusal(text, syntax);
    }
}

} // namespace

void TestPathRules::rules_data()
{
    QTest::addColumn<char>("rule");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char* name, char rule, const QString& text, const QString& expected) {
        QTest::newRow(name) << rule << text << expected;
    };
    row("drive root", 'P', R"(C:\Images\)", {});
    row("bare drive", 'P', "C:", Invalid(kNoRoot, "C:"));
    row("drive without root", 'P', R"(C:Images\)", Invalid(kNoRoot, R"(C:Images\)"));
    row("second colon", 'P', R"(C:\a:b\)", Invalid(kColon, R"(C:\a:b\)"));
    row("pair inside drive path", 'P', R"(C:\a\\b\)", Invalid(kPair, R"(C:\a\\b\)"));
    row("unc", 'P', R"(\\server\share\)", {});
    row("unc second pair", 'P', R"(\\server\\share\)", Invalid(kPair, R"(\\server\\share\)"));
    row("unc device namespace", 'P', R"(\\.\C:\)", Invalid("UNCパスに「\\\\.\\」が使用されています。", R"(\\.\C:\)"));
    row("unc question prefix", 'P', R"(\\?\C:\)", Unusable(R"(\\?\C:\)"));
    row("unc reserved share", 'P', R"(\\server\con\)", Folder("CON"));
    row("tab", 'P', "C:\\a\tb\\", Unusable("C:\\a\tb\\"));
    row("unusable before pair", 'P', R"(C:\a\\|\)", Unusable(R"(C:\a\\|\)"));
    row("dot element", 'P', R"(C:\a\.\b\)", Invalid(kRelative, R"(C:\a\.\b\)"));
    row("parent element", 'P', R"(C:\a\..\b\)", Folder(".."));
    row("reserved with extension", 'P', R"(C:\CON.txt\)", {});
    row("com10", 'P', R"(C:\COM10\)", {});
    row("first reserved element", 'P', R"(C:\aux\prn\)", Folder("AUX"));
    row("relative", 'P', R"(Images\)", Invalid(kNotAbsolute, R"(Images\)"));
    row("root of the current drive", 'P', R"(\Images\)", {});
    row("parent before device", 'F', R"(C:\..\aux\)", Folder(".."));
    row("second path", 'F', R"(C:\in\|sub\Lpt3)", Folder("LPT3"));
    row("first path before second", 'F', R"(C:\com1\|sub\aux)", Folder("COM1"));
    row("full-width", 'F', u"C:\\ＣＯＮ\\"_qs, {});
    row("console", 'N', "CONSOLE.txt", {});
    row("trailing dot", 'N', "aux.", File("AUX"));
    row("separator first", 'N', R"(sub\con.jpg)", "ファイル名の処理の部分にファイルパスが入っています。");
#ifndef Q_OS_WIN
    row("native absolute", 'p', "/home/user/Images/", {});
    row("native drive form", 'p', "C:/Images/", Invalid(kNotAbsolute, "C:/Images/"));
    row("native pair", 'p', "/home//b/", Invalid("UNCパスの先頭以外で「//」が使用されています。", "/home//b/"));
    row("native reserved", 'f', "/home/Aux/", Folder("AUX"));
    row("native file path", 'n', "a/b.webp", "ファイル名の処理の部分にファイルパスが入っています。");
#endif
}

// Each rule's refusal text, or none, on one path or name.
void TestPathRules::rules()
{
    QFETCH(char, rule);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(Apply(rule, text), expected);
}

// Every device name in three cases, bare or before one extension, as a folder and a file.
void TestPathRules::everyReservedNameInEveryCase()
{
    QStringList names{"AUX", "CON", "NUL", "PRN"};
    for (int i = 0; i <= 9; ++i)
        names << QStringLiteral("COM%1").arg(i) << QStringLiteral("LPT%1").arg(i);
    for (const QString& name : names) {
        for (const QString& form : {name, name.toLower(), name.left(1) + name.mid(1).toLower()}) {
            QCOMPARE(Apply('F', R"(C:\a\)" + form + R"(\b\)"), Folder(name));
            QCOMPARE(Apply('N', form + ".jpg"), File(name));
            QCOMPARE(Apply('N', form), File(name));
            QCOMPARE(Apply('N', form + ".tar.gz"), QString());
        }
    }
}

// Characters refused everywhere, and separators and the colon only where the flag says;
// separators become the syntax's own.
void TestPathRules::unusableCharactersAndSeparators()
{
    for (const QChar ch : u"?*\"<>|\\/:"_qs) {
        const bool separator = QStringLiteral("\\/:").contains(ch);
        QCOMPARE(HasNoUnusableCharacters("ab" + QString(ch) + "cd", false), separator);
        QVERIFY(!HasNoUnusableCharacters("ab" + QString(ch) + "cd", true));
    }
    QVERIFY(HasNoUnusableCharacters(u"_small-ñ 日本 .+[]()"_qs, true));
    QString windows = R"(C:/a\b//c\\d/)";
    ChangePathDelimiter(windows, PathSyntax::Windows());
    QCOMPARE(windows, QString(R"(C:\a\b\\c\\d\)"));
}

QTEST_APPLESS_MAIN(TestPathRules)
#include "tst_pathrules.moc"
