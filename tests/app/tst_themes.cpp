#include "app/themes.h"

#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QPushButton>
#include <QRegularExpression>
#include <QStyle>
#include <QStyleFactory>
#include <QSvgRenderer>
#include <QTest>
#include <QTextStream>
#include <QVBoxLayout>

namespace {

QString ReadResource(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QTextStream stream(&file);
    return stream.readAll();
}

const QString kDark = QStringLiteral(":/lumenodarkstyle/lumeno_dark.qss");
const QString kOverwrite = QStringLiteral(":/lumenodarkstyle/lumeno_dark_DKDesktop_Overwrite.qss");
const QString kLight = QStringLiteral(":/lumenowhitestyle/lumeno_white_DKesktop.qss");

QString ExpectedStyleName()
{
    return QStyleFactory::keys().contains(QStringLiteral("windowsvista"), Qt::CaseInsensitive)
        ? QStringLiteral("windowsvista")
        : QStringLiteral("fusion");
}

// Pixel in the middle of a rendered widget, away from borders and text.
QColor CentreColour(QWidget& w)
{
    const QImage image = w.grab().toImage();
    return image.pixelColor(image.width() / 2, 3 * image.height() / 4);
}

bool IsTeal(const QColor& c)
{
    return c.green() > c.red() + 40 && c.blue() > c.red() + 30;
}

} // namespace

class TestThemes : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void resourcesAreEmbedded();
    void sheetImagesAllExist();
    void darkThemeSetsDarkSheetFollowedByOverwrite();
    void lightThemeSetsOnlyTheLightSheet();
    void runButtonIsTealInBothThemes();
    void styleFallsBackToFusion();
};

void TestThemes::init()
{
    // A sheet that Qt cannot parse is dropped with a warning; treat it as a failure.
    QTest::failOnWarning(QRegularExpression(QStringLiteral("parse|stylesheet"), QRegularExpression::CaseInsensitiveOption));
    qApp->setStyleSheet(QString());
}

void TestThemes::resourcesAreEmbedded()
{
    struct Image
    {
        const char* path;
        int width;
        int height;
    };
    const Image images[] = {
        {":/global/layout00.png", 361, 53},   {":/global/about_01.png", 52, 52},
        {":/global/DK_import_s.png", 16, 16}, {":/global/lamp01_a.png", 40, 40},
        {":/winappicon/dravik_16@2x.png", 32, 32}, {":/lumenodarkstyle/Style/empty.png", 1, 1},
    };
    for (const Image& i : images) {
        const QImage image(QString::fromLatin1(i.path));
        QVERIFY2(!image.isNull(), i.path);
        QCOMPARE(image.size(), QSize(i.width, i.height));
    }
    // Drawn art, not blank canvases: the lit and the unlit lamp must differ.
    QVERIFY(QImage(QStringLiteral(":/global/lamp00_a.png")) != QImage(QStringLiteral(":/global/lamp01_a.png")));
    QVERIFY(QImage(QStringLiteral(":/global/layout00.png")).pixelColor(30, 26).alpha() > 0);

    QImageReader ico(QStringLiteral(":/global/icon1.ico"));
    QVERIFY2(ico.canRead(), qPrintable(ico.errorString()));
    QVERIFY(ico.imageCount() >= 4);
    QVERIFY(!ico.read().isNull());

    QSvgRenderer menu(QStringLiteral(":/global/more_vert_white_48dp.svg"));
    QVERIFY(menu.isValid());

    for (const char* qm : {":/translation/DKDesktop_ja_JP.qm", ":/translation/DKDesktopCommon_ja_JP.qm"})
        QVERIFY2(QFile::exists(QString::fromLatin1(qm)), qm);
}

void TestThemes::sheetImagesAllExist()
{
    const QString all = ReadResource(kDark) + ReadResource(kOverwrite) + ReadResource(kLight);
    QVERIFY(!all.isEmpty());
    const QRegularExpression url(QStringLiteral("url\\(([^)]+)\\)"));
    int count = 0;
    for (auto it = url.globalMatch(all); it.hasNext(); ++count) {
        const QString path = it.next().captured(1).trimmed();
        QVERIFY2(QFile::exists(path), qPrintable(path));
        if (path.endsWith(QLatin1String(".svg")))
            QVERIFY2(QSvgRenderer(path).isValid(), qPrintable(path));
    }
    QVERIFY(count > 20);
}

void TestThemes::darkThemeSetsDarkSheetFollowedByOverwrite()
{
    QVERIFY(ApplyTheme(true));
    const QString dark = ReadResource(kDark);
    const QString overwrite = ReadResource(kOverwrite);
    QVERIFY(!dark.isEmpty() && !overwrite.isEmpty());
    QCOMPARE(qApp->styleSheet(), dark + overwrite);

    // The sheet really applies: dialogs and page widgets get their greys.
    QDialog dialog;
    dialog.resize(120, 80);
    auto* page = new QWidget(&dialog);
    page->setAccessibleName(QStringLiteral("tabpage"));
    page->setGeometry(60, 0, 60, 80);
    dialog.ensurePolished();
    page->ensurePolished();
    const QImage shot = dialog.grab().toImage();
    QCOMPARE(shot.pixelColor(20, 40), QColor(0x40, 0x40, 0x40));
    QCOMPARE(shot.pixelColor(90, 40), QColor(0x59, 0x59, 0x59));
}

void TestThemes::lightThemeSetsOnlyTheLightSheet()
{
    QVERIFY(!ApplyTheme(false));
    const QString light = ReadResource(kLight);
    QVERIFY(!light.isEmpty());
    QCOMPARE(qApp->styleSheet(), light);
    // Everything but the run button keeps the platform look.
    const QRegularExpression selector(QStringLiteral("^\\s*([^{}/*\\s][^{]*)\\{"), QRegularExpression::MultilineOption);
    for (auto it = selector.globalMatch(light); it.hasNext();) {
        const QString s = it.next().captured(1);
        QVERIFY2(s.contains(QLatin1String("accessibleName=\"runButton\"")), qPrintable(s));
    }
}

void TestThemes::runButtonIsTealInBothThemes()
{
    for (const bool dark : {true, false}) {
        ApplyTheme(dark);
        QWidget host;
        auto* layout = new QVBoxLayout(&host);
        auto* run = new QPushButton(QStringLiteral("軽量化スタート"), &host);
        run->setAccessibleName(QStringLiteral("runButton"));
        run->setMinimumSize(160, 40);
        auto* off = new QPushButton(QStringLiteral("軽量化スタート"), &host);
        off->setAccessibleName(QStringLiteral("runButton"));
        off->setMinimumSize(160, 40);
        off->setEnabled(false);
        auto* plain = new QPushButton(QStringLiteral("終了"), &host);
        plain->setMinimumSize(160, 40);
        layout->addWidget(run);
        layout->addWidget(off);
        layout->addWidget(plain);
        host.ensurePolished();
        host.adjustSize();

        const QColor on = CentreColour(*run);
        const QColor disabled = CentreColour(*off);
        QVERIFY2(IsTeal(on), qPrintable(on.name()));
        QVERIFY2(IsTeal(disabled), qPrintable(disabled.name()));
        QVERIFY2(disabled.lightness() < on.lightness(), qPrintable(disabled.name() + on.name()));
        QVERIFY2(!IsTeal(CentreColour(*plain)), qPrintable(CentreColour(*plain).name()));
    }
}

void TestThemes::styleFallsBackToFusion()
{
    // While a sheet is set, Qt wraps the style in an unnamed sheet style;
    // clearing the sheet shows the style underneath.
    for (const bool dark : {true, false}) {
        SetApplicationStyle(QStringLiteral("Windows"));
        ApplyTheme(dark);
        qApp->setStyleSheet(QString());
        QCOMPARE(QApplication::style()->name().toLower(), ExpectedStyleName());
    }

    QCOMPARE(SetApplicationStyle(QStringLiteral("no-such-style")).toLower(), QStringLiteral("fusion"));
    QCOMPARE(QApplication::style()->name().toLower(), QStringLiteral("fusion"));
    if (QStyleFactory::keys().contains(QStringLiteral("Windows"))) {
        QCOMPARE(SetApplicationStyle(QStringLiteral("Windows")).toLower(), QStringLiteral("windows"));
        QCOMPARE(QApplication::style()->name().toLower(), QStringLiteral("windows"));
    }
}

QTEST_MAIN(TestThemes)
#include "tst_themes.moc"
