#pragma once

// Start-up pieces that main() strings together, kept apart so that they read as steps.

#include <QFont>
#include <QString>

class MainWindow;
class QStyle;

// "Meiryo UI" at 9 points. Where Meiryo UI is not installed (anything but Windows), the
// system's Japanese UI fonts stand in for it, so the Japanese texts never fall back to boxes.
QFont ApplicationFont();

// The platform's native style where it exists ("windowsvista"), Fusion elsewhere.
QStyle* CreateBaseStyle();

// What a second start does with the running instance's answer. The running instance raises its
// own window when it answers, so nothing is left to do here but to note the answer.
void HandOver(const QString& reply);

// Lets the main window's menu open the About dialog.
void ConnectAboutDialog(MainWindow& window);

// Gives the run button its run: the current page, or the checked pages as a batch.
void ConnectRunEntry(MainWindow& window);
