#include "app/themes.h"

#include <QApplication>
#include <QDebug>
#include <QFile>
#include <QLocale>
#include <QStyle>
#include <QStyleFactory>
#include <QTextStream>
#include <QTranslator>

namespace {

const QString kTranslationDir = QStringLiteral(":/translation/");
const QString kMainCatalogue = QStringLiteral("DKDesktop_");
const QString kCommonCatalogue = QStringLiteral("DKDesktopCommon_");
const QString kFallbackLocale = QStringLiteral("ja_JP");

const QString kDarkSheet = QStringLiteral(":/lumenodarkstyle/lumeno_dark.qss");
const QString kDarkOverwriteSheet = QStringLiteral(":/lumenodarkstyle/lumeno_dark_DKDesktop_Overwrite.qss");
const QString kLightSheet = QStringLiteral(":/lumenowhitestyle/lumeno_white_DKesktop.qss");
const QString kPlatformStyle = QStringLiteral("windowsvista");

// Process-wide translators: installed once, alive until the process ends.
QTranslator& MainTranslator()
{
    static QTranslator translator;
    return translator;
}

QTranslator& CommonTranslator()
{
    static QTranslator translator;
    return translator;
}

// Loads and installs both catalogues for one locale name such as "ja_JP".
// QTranslator::load also tries the ".qm" suffix and shorter names without
// the trailing "_" parts, so "ja_JP" finds a plain "ja" catalogue too.
bool InstallCatalogues(const QString& localeName)
{
    if (!MainTranslator().load(kTranslationDir + kMainCatalogue + localeName))
        return false;
    QCoreApplication::installTranslator(&MainTranslator());
    if (CommonTranslator().load(kTranslationDir + kCommonCatalogue + localeName))
        QCoreApplication::installTranslator(&CommonTranslator());
    return true;
}

bool ReadText(const QString& path, QString& text)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    QTextStream stream(&file);
    text = stream.readAll();
    return true;
}

} // namespace

int LoadTranslationsFor(const QStringList& uiLanguages)
{
    for (int i = 0; i < uiLanguages.size(); ++i) {
        const QString localeName = QLocale(uiLanguages[i]).name();
        qDebug() << kTranslationDir + kMainCatalogue + localeName;
        if (InstallCatalogues(localeName))
            return i;
    }
    // Only Japanese catalogues exist, so every other system lands here and
    // still gets the Japanese interface.
    return InstallCatalogues(kFallbackLocale) ? -1 : -2;
}

void LoadTranslations(QApplication& app)
{
    Q_UNUSED(app);
    LoadTranslationsFor(QLocale::system().uiLanguages());
}

QString SetApplicationStyle(const QString& styleName)
{
    QString name = styleName;
    if (!QStyleFactory::keys().contains(name, Qt::CaseInsensitive))
        name = QStringLiteral("Fusion");
    if (QStyle* style = QStyleFactory::create(name)) {
        QApplication::setStyle(style);
        return style->name();
    }
    return QApplication::style() != nullptr ? QApplication::style()->name() : QString();
}

bool ApplyTheme(bool dark)
{
    bool applied = false;
    if (dark) {
        QString sheet;
        QString overwrite;
        if (!QFile::exists(kDarkSheet)) {
            qDebug() << "Unable to set stylesheet, file not found\n";
        } else if (ReadText(kDarkSheet, sheet) && ReadText(kDarkOverwriteSheet, overwrite)) {
            qApp->setStyleSheet(sheet + overwrite);
            applied = true;
        }
    } else {
        const bool exists = QFile::exists(kLightSheet);
        qDebug() << kLightSheet << exists;
        QString sheet;
        if (exists && ReadText(kLightSheet, sheet))
            qApp->setStyleSheet(sheet);
    }
    SetApplicationStyle(kPlatformStyle);
    return applied;
}
