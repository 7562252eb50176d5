#pragma once

#include "dialogs/busyguard.h"
#include "dialogs/stopquestion.h"
#include "pipeline/runflags.h"

#include <QDialog>
#include <QElapsedTimer>
#include <QString>
#include <QTimer>

namespace Ui {
class ProgressBarDialog;
}

// The modal window in front of the main window while the engine processes a page (or a batch
// of pages). The drivers prepare it on the user-interface thread; the processor's workers
// report to it from their threads through ProcessMonitor, whose setters re-post themselves to
// the dialog's thread. It closes itself when processing signals its end, never on the user's
// request: the stop button only asks the workers to start no further file.
class ProgressBarDialog : public QDialog, public ProcessMonitor
{
    Q_OBJECT

public:
    ProgressBarDialog(QWidget* parent, bool batchMode);
    ~ProgressBarDialog() override;

    void SetQuestionButtonTexts(const QString& yes, const QString& no);
    void StartTimer();

    qint64 ElapsedMs() const override;
    QString ElapsedText() const override;
    bool IsContinue() const override;
    void SetCancel(bool cancel) override;
    bool IsQuestionShowing() const override;
    void WaitWhileQuestionShowing() const override;

signals:
    // Also ProcessMonitor's: emitted from a worker, they reach their slots queued.
    void SetFraction(const int value);
    void ProgressEnd();

public slots:
    void SetProgress(int percent) override;
    void SetInputFileName(const QString& name) override;
    void SetOutputFileName(const QString& name) override;
    void SetProgressBatch(int percent);
    void SetDenominator(int count);
    void SetMaxProgress(const int count);
    void SetTimeLeft(int hh, int mm, int ss) override;
    void SetFractionSlot(const int value);
    void on_pushButton_clicked();
    void ProgressDone();
    void SetWholeElapsedTime(int hh, int mm, int ss);
    void CallbackEverySecond();

private:
    // Stops the elapsed-time tick and drops fraction updates that are still queued.
    void DetachUpdates();

    Ui::ProgressBarDialog* ui = nullptr;
    bool batchMode = false;
    StopQuestion question;
    BusyGuard guard{this};
    QElapsedTimer elapsedTimer;
    QTimer secondTimer;
};
