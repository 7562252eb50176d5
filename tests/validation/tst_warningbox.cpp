#include "validation/folderchecks.h"
#include "validation/namerules.h"
#include "validation/pathrules.h"
#include "validation/warningbox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QMessageBox>
#include <QPointer>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QWidget>
#include <QtTest>

#include <atomic>

namespace {

// Closes every modal box that appears, after noting what it showed.
class BoxCloser : public QObject
{
public:
    struct Seen
    {
        QMessageBox::Icon icon = QMessageBox::NoIcon;
        QString title;
        QString text;
        QStringList buttons;
        QWidget* parent = nullptr;
        bool modal = false;
        bool onUiThread = false;
    };

    BoxCloser()
    {
        m_timer.setInterval(10);
        connect(&m_timer, &QTimer::timeout, this, [this] { CloseOpenBox(); });
        m_timer.start();
    }

    QList<Seen> seen;

private:
    void CloseOpenBox()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box == nullptr)
            return;
        Seen s;
        s.icon = box->icon();
        s.title = box->windowTitle();
        s.text = box->text();
        for (QAbstractButton* b : box->buttons())
            s.buttons << b->text();
        s.parent = box->parentWidget();
        s.modal = box->isModal();
        s.onUiThread = box->thread() == qApp->thread();
        seen << s;
        if (!box->buttons().isEmpty())
            box->buttons().first()->click();
        else
            box->reject();
    }

    QTimer m_timer;
};

} // namespace

// The box-showing forms of the rules: the standard warning box, its result, and the caller's text.
class TestWarningBox : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QLoggingCategory::setFilterRules("dravik.validation.debug=false"); }
    void refusalShowsStandardBox();
    void acceptedShowsNothing();
    void folderChecksUpdateCallerText();
    void workerThreadCallShowsBoxOnUiThread();
};

void TestWarningBox::refusalShowsStandardBox()
{
    QWidget window;
    BoxCloser closer;
    QVERIFY(!IsValidPathName(&window, "relative" + QString(QDir::separator()), "入力フォルダー"));
    QCOMPARE(closer.seen.size(), 1);
    const auto& s = closer.seen.first();
    QCOMPARE(s.icon, QMessageBox::Warning);
    QCOMPARE(s.title, QString("Dravik for Desktop"));
    QCOMPARE(s.text, "入力フォルダーの指定が無効です。\n絶対パスではありませんでした。\nrelative" + QString(QDir::separator()));
    QCOMPARE(s.buttons, QStringList{"OK"});
    QCOMPARE(s.parent, &window);
    QVERIFY(s.modal);

    // Each name rule shows its own message once.
    QVERIFY(!UnusableFileName(&window, "Con.jpg"));
    QVERIFY(!UnusableFolderPath(&window, QDir::rootPath() + "a", "lpt2"));
    QCOMPARE(closer.seen.size(), 3);
    QCOMPARE(closer.seen[1].text, QString("指定されたファイル名には、使用できない文字\"CON\"が含まれています"));
    QCOMPARE(closer.seen[2].text, QString("指定されたパスには、使用できないフォルダー名\"LPT2\"が含まれています"));
}

void TestWarningBox::acceptedShowsNothing()
{
    BoxCloser closer;
    QVERIFY(IsValidPathName(nullptr, QDir::rootPath(), "入力フォルダー"));
    QVERIFY(UnusableFileName(nullptr, "photo.jpg"));
    QVERIFY(UnusableFolderPath(nullptr, QDir::rootPath() + "photos", QString()));
    QTest::qWait(30);
    QVERIFY(closer.seen.isEmpty());
}

void TestWarningBox::folderChecksUpdateCallerText()
{
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    const QString base = QDir(tmp.path()).canonicalPath();
    const QChar s = QDir::separator();
    BoxCloser closer;

    // Refused: one box, and the text keeps only its separators normalised.
    QString input = " " + base + "/missing\\x ";
    QVERIFY(!CheckInputFolderPath(nullptr, input));
    QString normalised = " " + base + "/missing/x ";
    ChangePathDelimiter(normalised);
    QCOMPARE(input, normalised);
    QCOMPARE(closer.seen.size(), 1);
    QVERIFY(closer.seen[0].text.startsWith("入力フォルダーが存在しませんでした。\n"));

    // Accepted: no box, the text becomes the canonical folder.
    QString output = base + "/new\\out";
    QVERIFY(CheckOutputFolderPath(nullptr, output));
    QString canonical = base + "/new/out/";
    ChangePathDelimiter(canonical);
    QCOMPARE(output, canonical);
    QVERIFY(QFileInfo(canonical).isDir());
    QVERIFY(output.endsWith(s) && !output.endsWith(QString(s) + s));
    QCOMPARE(closer.seen.size(), 1);

    QString empty;
    QVERIFY(!CheckOutputFolderPath(nullptr, empty));
    QCOMPARE(closer.seen.size(), 2);
    QCOMPARE(closer.seen[1].text, QString("出力フォルダーを指定してください。"));
}

void TestWarningBox::workerThreadCallShowsBoxOnUiThread()
{
    QWidget window;
    BoxCloser closer;
    std::atomic<int> result{-1};
    QPointer<QThread> worker(QThread::create([&] { result = UnusableFileName(&window, "nul.png") ? 1 : 0; }));
    QVERIFY(worker);
    connect(worker.data(), &QThread::finished, worker.data(), &QObject::deleteLater);
    worker->start();
    QTRY_VERIFY_WITH_TIMEOUT(worker.isNull(), 10000);
    QCOMPARE(result.load(), 0);
    QCOMPARE(closer.seen.size(), 1);
    QVERIFY(closer.seen[0].onUiThread);
    QCOMPARE(closer.seen[0].parent, &window);
    QCOMPARE(closer.seen[0].text, QString("指定されたファイル名には、使用できない文字\"NUL\"が含まれています"));
}

QTEST_MAIN(TestWarningBox)
#include "tst_warningbox.moc"
