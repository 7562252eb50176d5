#include "app/themes.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLineEdit>
#include <QMenu>
#include <QTest>
#include <QXmlStreamReader>

namespace {

QString Tr(const char* context, const char* source)
{
    return QCoreApplication::translate(context, source);
}

struct TsMessage
{
    QString context;
    QString source;
    QString translation;
};

// Reads the catalogue source next to this test in the repository, so the test
// can compare every message with what the compiled catalogue gives at run time.
QList<TsMessage> ReadTs(const QString& fileName)
{
    const QDir repo = QFileInfo(QStringLiteral(__FILE__)).dir();
    QFile file(repo.filePath(QStringLiteral("../../resources/") + fileName));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<TsMessage> out;
    QXmlStreamReader xml(&file);
    QString context;
    TsMessage current;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.name() == QLatin1String("name"))
            context = xml.readElementText();
        else if (xml.name() == QLatin1String("message"))
            current = TsMessage{context, {}, {}};
        else if (xml.name() == QLatin1String("source"))
            current.source = xml.readElementText();
        else if (xml.name() == QLatin1String("translation")) {
            current.translation = xml.readElementText();
            out.append(current);
        }
    }
    return xml.hasError() ? QList<TsMessage>{} : out;
}

} // namespace

class TestTranslations : public QObject
{
    Q_OBJECT

private slots:
    void catalogueFilesAreEmbedded();
    void englishOnlySystemGetsJapaneseThroughTheFallback();
    void japaneseLanguageIsFoundInTheLoop();
    void loadTranslationsInstallsTheCatalogues();
    void samplePairsOfEveryContext();
    void everyCatalogueMessageSurvivesCompilation();
    void toolkitWidgetsSpeakJapanese();
};

void TestTranslations::catalogueFilesAreEmbedded()
{
    for (const char* path : {":/translation/DKDesktop_ja_JP.qm", ":/translation/DKDesktopCommon_ja_JP.qm"}) {
        QFile qm(QString::fromLatin1(path));
        QVERIFY2(qm.open(QIODevice::ReadOnly), path);
        QVERIFY2(qm.size() > 100, path);
    }
}

void TestTranslations::englishOnlySystemGetsJapaneseThroughTheFallback()
{
    QCOMPARE(LoadTranslationsFor({QStringLiteral("en-US"), QStringLiteral("en")}), -1);
    QCOMPARE(Tr("MainWindow", "D_閉じる"), QStringLiteral("終了"));
    QCOMPARE(Tr("QLineEdit", "&Paste"), QStringLiteral("貼り付け(&P)"));

    QCOMPARE(LoadTranslationsFor({}), -1);
    QCOMPARE(Tr("TabTemplate", "D_Init"), QStringLiteral("このページを初期化"));
}

void TestTranslations::japaneseLanguageIsFoundInTheLoop()
{
    QCOMPARE(LoadTranslationsFor({QStringLiteral("ja-JP"), QStringLiteral("en-US")}), 0);
    QCOMPARE(Tr("ResultDialog", "D_閉じる"), QStringLiteral("閉じる"));
    // A bare language tag maps to its default country and still finds it.
    QCOMPARE(LoadTranslationsFor({QStringLiteral("de-DE"), QStringLiteral("ja")}), 1);
    QCOMPARE(Tr("ProgressBarDialog", "D_中断"), QStringLiteral("中断"));
}

void TestTranslations::loadTranslationsInstallsTheCatalogues()
{
    auto* app = qobject_cast<QApplication*>(QCoreApplication::instance());
    QVERIFY(app != nullptr);
    LoadTranslations(*app);
    QCOMPARE(Tr("MainWindow", "Alt+R_win"), QStringLiteral("軽量化スタート(Alt+R)"));
    QCOMPARE(Tr("QComboBox", "True"), QStringLiteral("真"));
}

void TestTranslations::samplePairsOfEveryContext()
{
    QCOMPARE(LoadTranslationsFor({QStringLiteral("ja-JP")}), 0);
    struct Pair
    {
        const char* context;
        const char* source;
        const char* shown;
    };
    const Pair pairs[] = {
        {"MainWindow", "D_説明書(D)", "説明書(&D)"},
        {"MainWindow", "You can only add up to %1 pages.", "%1ページまでしか追加できません。"},
        {"MainWindow", "Delete Page!\npage name : ", "ページを削除します。\nページ名 : "},
        {"TabTemplate", "Form", "Dravik for Desktop"},
        {"TabTemplate", "D_入力フォルダー(I) :", "入力フォルダー(&I) :"},
        {"TabTemplate", "D_バランス(M)\u3000(標準値=5)", "バランス(&M)"},
        {"ProgressBarDialog", "Do you want to cancel?", "中断しますか？"},
        {"ResultDialog", "D_出力フォルダーを開く(O)", "出力フォルダーを開く(&O)"},
    };
    for (const Pair& p : pairs)
        QCOMPARE(Tr(p.context, p.source), QString::fromUtf8(p.shown));

    // The update-only tool tip gains an ideographic space on every continuation line.
    const QString updateTip = Tr("TabTemplate",
        "D_＊このスイッチをONにすると、一度軽量化処理を行ったあと、\n入力フォルダーに画像ファイルを追加してもう一度軽量化処理を実行するとき、\n"
        "出力フォルダーに既に画像ファイルがあったら、処理を行わないようになります。\n＊ただし、入力フォルダーにある画像ファイルが、\n"
        "出力フォルダーにある対応する画像ファイルより新しいタイムスタンプの場合（更新ファイルの場合）は、\nこのスイッチがONでも処理を行います。");
    QVERIFY(updateTip.startsWith(QStringLiteral("＊このスイッチ")));
    QCOMPARE(updateTip.count(QStringLiteral("\n\u3000")), 5);

    // Texts without a translation are shown as written.
    QCOMPARE(Tr("MainWindow", "データの保存に失敗しました。"), QStringLiteral("データの保存に失敗しました。"));
    QCOMPARE(Tr("ResultDialog", "処理を中断しました。\n"), QStringLiteral("処理を中断しました。\n"));
    QCOMPARE(Tr("MainWindow", "はい"), QStringLiteral("はい"));
    // A text belongs to its context: the same source elsewhere is untouched.
    QCOMPARE(Tr("AboutDialog", "D_閉じる"), QStringLiteral("D_閉じる"));
}

void TestTranslations::everyCatalogueMessageSurvivesCompilation()
{
    QCOMPARE(LoadTranslationsFor({QStringLiteral("ja-JP")}), 0);
    const QList<TsMessage> main = ReadTs(QStringLiteral("DKDesktop_ja_JP.ts"));
    const QList<TsMessage> common = ReadTs(QStringLiteral("DKDesktopCommon_ja_JP.ts"));
    QVERIFY(main.size() > 150);
    QVERIFY(!common.isEmpty());

    for (const TsMessage& m : main + common) {
        const QByteArray context = m.context.toUtf8();
        const QByteArray source = m.source.toUtf8();
        const QString shown = QCoreApplication::translate(context.constData(), source.constData());
        const QString expected = m.translation.isEmpty() ? m.source : m.translation;
        QVERIFY2(shown == expected, qPrintable(m.context + QLatin1String(": ") + m.source));
        if (m.source.startsWith(QLatin1String("D_"))) {
            QVERIFY2(!m.translation.isEmpty() && !shown.startsWith(QLatin1String("D_")),
                     qPrintable(QLatin1String("placeholder without translation: ") + m.source));
        }
    }
}

void TestTranslations::toolkitWidgetsSpeakJapanese()
{
    QCOMPARE(LoadTranslationsFor({QStringLiteral("ja-JP")}), 0);
    QLineEdit edit;
    edit.setText(QStringLiteral("x"));
    QScopedPointer<QMenu> menu(edit.createStandardContextMenu());
    QStringList texts;
    for (QAction* a : menu->actions())
        texts << a->text().section(QLatin1Char('\t'), 0, 0);
    QVERIFY2(texts.contains(QStringLiteral("コピー(&C)")), qPrintable(texts.join(QLatin1Char('|'))));
    QVERIFY(texts.contains(QStringLiteral("すべてを選択")));
    QVERIFY(texts.contains(QStringLiteral("元に戻す(&U)")));
}

QTEST_MAIN(TestTranslations)
#include "tst_translations.moc"
