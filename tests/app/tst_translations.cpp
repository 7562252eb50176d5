// The Japanese catalogues as the program shows them.

#include "app/themes.h"

#include <QDir>
#include <QTest>
#include <QXmlStreamReader>

namespace {

QString Tr(const char* context, const char* source)
{
    return QCoreApplication::translate(context, source);
}

} // namespace

class TestTranslations : public QObject
{
    Q_OBJECT

private slots:
    // Every message of both catalogues comes out of the compiled catalogues as translated
    // (placeholders "D_..." never shown), on a Japanese system and through the fallback.
    void catalogueMessagesAreComplete()
    {
        for (const QStringList& languages : {QStringList{"en-US", "en"}, QStringList{"de-DE", "ja"}}) {
            QCOMPARE(LoadTranslationsFor(languages), languages.contains("ja") ? 1 : -1);
            int messages = 0;
            for (const char* catalogue : {"DKDesktop_ja_JP.ts", "DKDesktopCommon_ja_JP.ts"}) {
                QFile file(QFileInfo(QStringLiteral(__FILE__)).dir().filePath(QStringLiteral("../../resources/") + catalogue));
                QVERIFY(file.open(QIODevice::ReadOnly));
                QXmlStreamReader xml(&file);
                QString context, source;
                while (!xml.atEnd()) {
                    if (xml.readNext() != QXmlStreamReader::StartElement)
                        continue;
                    if (xml.name() == QLatin1String("name"))
                        context = xml.readElementText();
                    else if (xml.name() == QLatin1String("source"))
                        source = xml.readElementText();
                    else if (xml.name() == QLatin1String("translation")) {
                        ++messages;
                        const QString translation = xml.readElementText();
                        QVERIFY2(!source.startsWith("D_") || !translation.isEmpty(), qPrintable(source));
                        QCOMPARE(Tr(context.toUtf8(), source.toUtf8()), translation.isEmpty() ? source : translation);
                    }
                }
                QVERIFY(!xml.hasError());
            }
            QVERIFY(messages > 150);
            QCOMPARE(Tr("QLineEdit", "&Paste"), QStringLiteral("貼り付け(&P)"));  // Qt's own texts too
        }
    }
};

QTEST_MAIN(TestTranslations)
#include "tst_translations.moc"
