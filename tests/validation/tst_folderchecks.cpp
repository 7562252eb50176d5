#include "tests/mainwindow/modalscript.h"
#include "validation/folderchecks.h"
#include "validation/namerules.h"
#include "validation/pathrules.h"

#include <QDir>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>

// The folder checks on real temporary folders (native syntax), the canonical form of the
// Windows syntax up to the point where the disk is asked, and the box-showing forms of the
// rules: one standard warning box per refusal, shown on the interface thread.
class TestFolderChecks : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void checks_data();
    void checks();
    void lengthLimits();
    void refusalsShowOneStandardBox();
    void folderChecksUpdateTheCallersText();

private:
    // A path below the temporary folder of exactly length characters, without trailing separator.
    QString PathOfLength(qsizetype length) const;

    QTemporaryDir m_tmp;
    QString m_base;  // the temporary folder, canonical, no trailing separator
};

namespace {

const QString kIn = QStringLiteral("入力フォルダー");
const QString kOut = QStringLiteral("出力フォルダー");

FolderCheckResult Check(FolderRole role, const QString& text)
{
    return CheckFolderPath(role, text, PathSyntax::Native());
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
    m_base = QDir(m_tmp.path()).canonicalPath();
    QVERIFY(QDir().mkpath(m_base + "/in") && QDir().mkpath(m_base + "/files"));
    QFile file(m_base + "/files/photo.jpg");
    QVERIFY(file.open(QIODevice::WriteOnly));
}

QString TestFolderChecks::PathOfLength(qsizetype length) const
{
    QString path = m_base;
    while (path.size() < length) {
        // Each element costs its name plus one separator; never leave a single character over.
        const qsizetype rest = length - path.size();
        path += '/' + QString(rest <= 61 ? rest - 1 : (rest == 62 ? 59 : 60), QChar(char16_t(u'a' + path.size() % 26)));
    }
    return path;
}

void TestFolderChecks::checks_data()
{
    QTest::addColumn<bool>("output");
    QTest::addColumn<QString>("text");      // "~" stands for the temporary folder
    QTest::addColumn<QString>("refusal");
    QTest::addColumn<QString>("path");      // the text afterwards
    QTest::addColumn<bool>("windows");
    for (const QString& form : {"~/in", "~/in/", "  ~\\in  ", "\t~/in/\n", "~/in\\"}) {
        QTest::newRow(qPrintable("input " + form)) << false << form << "" << "~/in/" << false;
        QTest::newRow(qPrintable("output " + form)) << true << form << "" << "~/in/" << false;
    }
    QTest::newRow("root") << false << "/" << "" << "/" << false;
    QTest::newRow("input blank") << false << " \t\n" << kIn + "を指定してください。" << " \t\n" << false;
    QTest::newRow("output empty") << true << "" << kOut + "を指定してください。" << "" << false;
    QTest::newRow("input missing") << false << " ~/missing\\deeper" << kIn + "が存在しませんでした。\n~/missing/deeper/" << " ~/missing/deeper" << false;
    QTest::newRow("output created") << true << "~/new\\deeper" << "" << "~/new/deeper/" << false;
    QTest::newRow("input file") << false << "~/files/photo.jpg" << kIn + "でフォルダーを指定していません。\nフォルダーを指定してください。" << "~/files/photo.jpg" << false;
    QTest::newRow("output file") << true << "~/files/photo.jpg" << kOut + "はフォルダーではありませんでした。" << "~/files/photo.jpg" << false;
    QTest::newRow("output below a file") << true << "~/files/photo.jpg/sub" << kOut + "を生成出来ませんでした。" << "~/files/photo.jpg/sub" << false;
    QTest::newRow("output colon") << true << "~/a:b" << kOut + "の指定が無効です。\nドライブ指定以外で「:」が使用されていました。」\n~/a:b/" << "~/a:b" << false;
    QTest::newRow("output parent") << true << "~\\x\\..\\y" << "指定されたパスには、使用できないフォルダー名\"..\"が含まれています" << "~/x/../y" << false;
    QTest::newRow("windows slashes") << false << " C:/Images " << kIn + "が存在しませんでした。\nC:\\Images\\" << " C:\\Images " << true;
    QTest::newRow("windows bare drive") << false << "C:" << kIn + "が存在しませんでした。\nC:\\" << "C:" << true;
    QTest::newRow("windows current drive") << false << "/Images" << kIn + "が存在しませんでした。\n\\Images\\" << "\\Images" << true;
    QTest::newRow("windows unc") << false << "\\\\server\\share" << kIn + "が存在しませんでした。\n\\\\server\\share\\" << "\\\\server\\share" << true;
}

// Accepted texts become the canonical folder (a missing output folder is created); refused
// ones keep only their separators normalised, and nothing is created for them.
void TestFolderChecks::checks()
{
    QFETCH(bool, output);
    QFETCH(QString, text);
    QFETCH(QString, refusal);
    QFETCH(QString, path);
    QFETCH(bool, windows);
    const FolderRole role = output ? FolderRole::Output : FolderRole::Input;
    const FolderCheckResult r = CheckFolderPath(role, text.replace('~', m_base), windows ? PathSyntax::Windows() : PathSyntax::Native());
    QCOMPARE(r.refusal, refusal.replace('~', m_base));
    QCOMPARE(r.path, path.replace('~', m_base));
    QCOMPARE(QFileInfo(r.path).isDir(), r.Accepted());
    QVERIFY(!QFileInfo::exists(m_base + "/missing") && !QFileInfo::exists(m_base + "/a:b") && !QFileInfo::exists(m_base + "/x"));
}

// The raw text may hold 255 characters; the canonical path, separator included, as well.
void TestFolderChecks::lengthLimits()
{
    const QString padded = m_base + "\\x" + QString(256 - m_base.size() - 2, ' ');
    for (const auto& [role, field] : {std::pair{FolderRole::Input, kIn}, std::pair{FolderRole::Output, kOut}}) {
        const FolderCheckResult r = Check(role, padded);
        QCOMPARE(r.refusal, field + "の指定が無効です。\nファイルパスが許容値を超えています。\n" + padded);
        QCOMPARE(r.path, padded);
    }
    QVERIFY(!QFileInfo::exists(m_base + "/x"));
    const QString limit = PathOfLength(255);
    QVERIFY(QDir().mkpath(limit));
    QCOMPARE(Check(FolderRole::Input, limit).refusal, CanonicalTooLong(kIn, limit + '/'));
    const QString below = PathOfLength(254);
    QVERIFY(QDir().mkpath(below));
    QVERIFY(Check(FolderRole::Input, below + '/').Accepted());
    // A new output folder of 255 characters is created even though the check then refuses it.
    const QString fresh = PathOfLength(255).replace(m_base.size() + 1, 1, "z");
    QCOMPARE(Check(FolderRole::Output, fresh).refusal, CanonicalTooLong(kOut, fresh + '/'));
    QVERIFY(QFileInfo(fresh).isDir());
}

void TestFolderChecks::refusalsShowOneStandardBox()
{
    QWidget window;
    ModalScript closer;
    closer.Box().Box().Box();
    QVERIFY(!IsValidPathName(&window, "relative/", "入力フォルダー"));
    QVERIFY(!UnusableFolderPath(&window, "/a", "lpt2"));
    bool accepted = true;
    QThread *worker = QThread::create([&] { accepted = UnusableFileName(&window, "nul.png"); });
    worker->start();
    QTRY_VERIFY_WITH_TIMEOUT(worker->isFinished(), 10000);
    delete worker;
    QVERIFY(!accepted);
    QVERIFY(IsValidPathName(nullptr, "/", "入力フォルダー") && UnusableFileName(nullptr, "photo.jpg"));
    QCOMPARE(closer.texts, QStringList({"入力フォルダーの指定が無効です。\n絶対パスではありませんでした。\nrelative/",
                                        "指定されたパスには、使用できないフォルダー名\"LPT2\"が含まれています",
                                        "指定されたファイル名には、使用できない文字\"NUL\"が含まれています"}));
    QCOMPARE(closer.titles, QStringList(3, "Dravik for Desktop"));
    QCOMPARE(closer.buttonTexts, QStringList(3, "OK"));
}

// A refused folder keeps its text with normalised separators; an accepted one becomes the
// canonical folder.
void TestFolderChecks::folderChecksUpdateTheCallersText()
{
    QTemporaryDir tmp;
    const QString base = QDir(tmp.path()).canonicalPath();
    ModalScript closer;
    closer.Box();
    QString input = " " + base + "/missing\\x ";
    QVERIFY(!CheckInputFolderPath(nullptr, input));
    QCOMPARE(input, " " + base + "/missing/x ");
    QString output = base + "/new\\out";
    QVERIFY(CheckOutputFolderPath(nullptr, output));
    QCOMPARE(output, base + "/new/out/");
    QCOMPARE(closer.texts, QStringList{"入力フォルダーが存在しませんでした。\n" + base + "/missing/x/"});
}

QTEST_MAIN(TestFolderChecks)
#include "tst_folderchecks.moc"
