#include "validation/folderchecks.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QtTest>

// The folder checks on real temporary folders (native syntax), and the canonical form of the
// Windows syntax up to the point where the disk is asked.
class TestFolderChecks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void acceptsAndCanonicalises();
    void emptyOrBlank();
    void lengthLimits();
    void missingFolder();
    void fileInsteadOfFolder();
    void refusedByPathRules();
    void windowsSyntax();

private:
    QString Make(const QString& relative) const;
    // A path below the temporary folder of exactly length characters, without trailing separator.
    QString PathOfLength(qsizetype length) const;

    QTemporaryDir m_tmp;
    QString m_base;  // the temporary folder, native separators, no trailing separator
};

namespace {

const QString kIn = QStringLiteral("入力フォルダー");
const QString kOut = QStringLiteral("出力フォルダー");

FolderCheckResult Check(FolderRole role, const QString& text)
{
    return CheckFolderPath(role, text, PathSyntax::Native());
}

QString NotGiven(const QString& field) { return field + "を指定してください。"; }
QString TooLong(const QString& field, const QString& text)
{
    return field + "の指定が無効です。\nファイルパスが許容値を超えています。\n" + text;
}
QString CanonicalTooLong(const QString& field, const QString& path)
{
    return "内部処理後のファイルパスが許容値を超えています。\n" + field + " : " + path;
}

} // namespace

void TestFolderChecks::initTestCase()
{
    QLoggingCategory::setFilterRules("dravik.validation.debug=false");
    if (QDir::separator() != u'/')
        QSKIP("written for a slash-separated platform");
    QVERIFY(m_tmp.isValid());
    m_base = QDir(m_tmp.path()).canonicalPath();
    QVERIFY(!m_base.endsWith('/'));
}

QString TestFolderChecks::Make(const QString& relative) const
{
    const QString path = m_base + '/' + relative;
    if (!QDir().mkpath(path))
        qFatal("cannot create %s", qPrintable(path));
    return path;
}

QString TestFolderChecks::PathOfLength(qsizetype length) const
{
    QString path = m_base;
    qsizetype rest = length - path.size();
    while (rest > 0) {
        // Each element costs its name plus one separator; never leave a single character over.
        qsizetype name = rest <= 61 ? rest - 1 : (rest - 61 == 1 ? 59 : 60);
        path += '/' + QString(name, QChar(char16_t(u'a' + path.size() % 26)));
        rest -= name + 1;
    }
    Q_ASSERT(path.size() == length);
    return path;
}

void TestFolderChecks::acceptsAndCanonicalises()
{
    const QString folder = Make("in");
    QFile marker(folder + "/keep.txt");
    QVERIFY(marker.open(QIODevice::WriteOnly));
    marker.close();
    const QString canonical = folder + '/';

    const QStringList forms{folder, folder + '/', "  " + m_base + "\\in  ", "\t" + folder + "/\n",
                            m_base + "/in\\"};
    for (FolderRole role : {FolderRole::Input, FolderRole::Output}) {
        for (const QString& form : forms) {
            const FolderCheckResult r = Check(role, form);
            QVERIFY2(r.Accepted(), qPrintable(form + " -> " + r.refusal));
            QCOMPARE(r.path, canonical);
        }
    }
    // An existing output folder is used as it is.
    QVERIFY(QFileInfo::exists(folder + "/keep.txt"));
    // The root is already canonical.
    QCOMPARE(Check(FolderRole::Input, "/").path, QString("/"));
}

void TestFolderChecks::emptyOrBlank()
{
    for (const QString& text : {QString(), QString("   "), QString("\t \n")}) {
        const FolderCheckResult in = Check(FolderRole::Input, text);
        QCOMPARE(in.refusal, NotGiven(kIn));
        QCOMPARE(in.path, text);
        QCOMPARE(Check(FolderRole::Output, text).refusal, NotGiven(kOut));
    }
}

void TestFolderChecks::lengthLimits()
{
    // The raw text counts, blanks and all; a refused text is left exactly as it was.
    const QString padded = m_base + "\\x" + QString(256 - m_base.size() - 2, ' ');
    QCOMPARE(padded.size(), 256);
    FolderCheckResult r = Check(FolderRole::Input, padded);
    QCOMPARE(r.refusal, TooLong(kIn, padded));
    QCOMPARE(r.path, padded);
    QCOMPARE(Check(FolderRole::Output, padded).refusal, TooLong(kOut, padded));
    QVERIFY(!QFileInfo::exists(m_base + "/x"));

    const QString over = PathOfLength(256);
    QCOMPARE(Check(FolderRole::Output, over).refusal, TooLong(kOut, over));
    QVERIFY(!QFileInfo::exists(over));

    // 255 characters pass the first check, but the appended separator carries them over.
    const QString limit = PathOfLength(255);
    QVERIFY(QDir().mkpath(limit));
    QCOMPARE(Check(FolderRole::Input, limit).refusal, CanonicalTooLong(kIn, limit + '/'));
    r = Check(FolderRole::Output, limit);
    QCOMPARE(r.refusal, CanonicalTooLong(kOut, limit + '/'));
    QCOMPARE(r.path, limit);

    // With its separator already there, 255 is accepted.
    const QString below = PathOfLength(254);
    QVERIFY(QDir().mkpath(below));
    r = Check(FolderRole::Input, below + '/');
    QVERIFY2(r.Accepted(), qPrintable(r.refusal));
    QCOMPARE(r.path.size(), 255);

    // A new output folder of 255 characters is created even though the check then refuses it.
    const QString fresh = PathOfLength(255).replace(m_base.size() + 1, 1, "z");
    QVERIFY(!QFileInfo::exists(fresh));
    QCOMPARE(Check(FolderRole::Output, fresh).refusal, CanonicalTooLong(kOut, fresh + '/'));
    QVERIFY(QFileInfo(fresh).isDir());
}

void TestFolderChecks::missingFolder()
{
    const QString missing = m_base + "/missing\\deeper";
    const QString canonical = m_base + "/missing/deeper/";
    const FolderCheckResult in = Check(FolderRole::Input, " " + missing);
    QCOMPARE(in.refusal, kIn + "が存在しませんでした。\n" + canonical);
    // After a refusal the text keeps the separator normalisation, nothing more.
    QCOMPARE(in.path, " " + m_base + "/missing/deeper");
    QVERIFY(!QFileInfo::exists(m_base + "/missing"));

    const FolderCheckResult out = Check(FolderRole::Output, missing);
    QVERIFY2(out.Accepted(), qPrintable(out.refusal));
    QCOMPARE(out.path, canonical);
    QVERIFY(QFileInfo(canonical).isDir());
}

void TestFolderChecks::fileInsteadOfFolder()
{
    const QString file = Make("files") + "/photo.jpg";
    QFile f(file);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.close();

    QCOMPARE(Check(FolderRole::Input, file).refusal,
             kIn + "でフォルダーを指定していません。\nフォルダーを指定してください。");
    QCOMPARE(Check(FolderRole::Output, file).refusal, kOut + "はフォルダーではありませんでした。");
    // A folder below a file cannot be made; this message carries no path.
    QCOMPARE(Check(FolderRole::Output, file + "/sub").refusal, kOut + "を生成出来ませんでした。");
    QVERIFY(QFileInfo(file).isFile());
}

void TestFolderChecks::refusedByPathRules()
{
    // The path rules speak with the field name of the check, and nothing is created.
    const QString colon = m_base + "/a:b";
    FolderCheckResult r = Check(FolderRole::Output, colon);
    QCOMPARE(r.refusal, kOut + "の指定が無効です。\nドライブ指定以外で「:」が使用されていました。」\n" + colon + '/');
    QVERIFY(!QFileInfo::exists(colon));

    r = Check(FolderRole::Output, m_base + "\\x\\..\\y");
    QCOMPARE(r.refusal, QString("指定されたパスには、使用できないフォルダー名\"..\"が含まれています"));
    QCOMPARE(r.path, m_base + "/x/../y");
    QVERIFY(!QFileInfo::exists(m_base + "/x"));
    QVERIFY(!QFileInfo::exists(m_base + "/y"));

}

void TestFolderChecks::windowsSyntax()
{
    const PathSyntax win = PathSyntax::Windows();
    // Slashes and blanks are normalised; the (absent) folder is reported in canonical form.
    FolderCheckResult r = CheckFolderPath(FolderRole::Input, " C:/Images ", win);
    QCOMPARE(r.refusal, kIn + "が存在しませんでした。\nC:\\Images\\");
    QCOMPARE(r.path, QString(" C:\\Images "));

    r = CheckFolderPath(FolderRole::Input, "C:\\a:b", win);
    QCOMPARE(r.refusal, kIn + "の指定が無効です。\nドライブ指定以外で「:」が使用されていました。」\nC:\\a:b\\");

    // The appended separator turns a bare drive into its root.
    r = CheckFolderPath(FolderRole::Input, "C:", win);
    QCOMPARE(r.refusal, kIn + "が存在しませんでした。\nC:\\");

    // From the root of the current drive: accepted by the path rules, so the disk is asked.
    r = CheckFolderPath(FolderRole::Input, "/Images", win);
    QCOMPARE(r.refusal, kIn + "が存在しませんでした。\n\\Images\\");

    r = CheckFolderPath(FolderRole::Input, "\\\\server\\share", win);
    QCOMPARE(r.refusal, kIn + "が存在しませんでした。\n\\\\server\\share\\");
}

QTEST_APPLESS_MAIN(TestFolderChecks)
#include "tst_folderchecks.moc"
