#pragma once

class QApplication;

// Installs the built-in Japanese catalogues (main and common). Called once at
// start-up, before any window exists, so every tr() sees the translation.
void LoadTranslations(QApplication& app);

// Applies the dark sheet (dark sheet + overwrite sheet) or the light sheet to
// the whole application. Returns the theme that is really in effect: true only
// when the dark sheet was set; a missing dark sheet leaves the light look.
bool ApplyTheme(bool dark);
