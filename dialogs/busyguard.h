#pragma once

#include <QObject>

class QDialog;

// Keeps a run's busy dialog on screen until its work has ended. The window's close button
// would otherwise dismiss it while workers still report to it, and Escape would reject it at
// any time, so both are refused here once for the search window and the progress dialog.
class BusyGuard : public QObject
{
public:
    explicit BusyGuard(QDialog* dialog);

    // From then on the close button works; Escape never does, the dialog closes itself.
    void Finish() { finished = true; }
    bool Finished() const { return finished; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool finished = false;
};
