#pragma once

#include <QString>
#include <QStringList>

class QApplication;

// Installs the built-in Japanese catalogues (main and common). Called once at
// start-up, before any window exists, so every tr() sees the translation.
void LoadTranslations(QApplication& app);

// The work of LoadTranslations for a given list of user-interface language
// tags ("ja-JP", "en-US", ... in the system's order). Returns the index of the
// tag whose main catalogue was installed, -1 when the built-in "ja_JP"
// fallback was used, and -2 when not even the fallback could be loaded.
int LoadTranslationsFor(const QStringList& uiLanguages);

// Applies the dark sheet (dark sheet + overwrite sheet) or the light sheet to
// the whole application, then the application style (see SetApplicationStyle
// with "windowsvista"). Returns the theme that is really in effect: true only
// when the dark sheet was set; a missing dark sheet leaves the light look.
bool ApplyTheme(bool dark);

// Sets the application style by its style-factory name. Where that style does
// not exist (e.g. "windowsvista" off Windows) Fusion is used instead. Returns
// the name of the style that was set.
QString SetApplicationStyle(const QString& styleName);
