#pragma once

#include "pipeline/runflags.h"

#include <QString>

class QDialog;
class QPushButton;

// The stop question of a run's busy dialog, and the flags it shares with the workers. The
// search window and the progress dialog ask it the same way, so it lives here once.
class StopQuestion
{
public:
    void SetButtonTexts(const QString& yes, const QString& no);

    // Asks in front of dialog, in that dialog's translation context, while the workers wait on
    // the question flag. On yes the stop is set before the question flag clears, so a worker
    // woken by the close already sees it, and stopButton shows that the stop is under way.
    // True on yes.
    bool Ask(QDialog* dialog, QPushButton* stopButton);

    RunFlags flags;

private:
    QString yesText = QStringLiteral("yes");
    QString noText = QStringLiteral("no");
};
