#pragma once

#include "dialogs/busyguard.h"
#include "dialogs/stopquestion.h"
#include "pipeline/runflags.h"

#include <QDialog>
#include <QString>

#include <atomic>

namespace Ui {
class MarqueeProgressBar;
}

// The busy window in front of the main window while the input files are searched. The search
// worker reads its stop flags, waits while the stop question is open and signals the end;
// the window refuses to close until then.
class MarqueeProgressBar : public QDialog, public SearchMonitor
{
    Q_OBJECT

public:
    explicit MarqueeProgressBar(QWidget* parent = nullptr);
    ~MarqueeProgressBar() override;

    void SetQuestionButtonTexts(const QString& yes, const QString& no);
    // Set by the batch driver before the search: it sends the end itself after the last page.
    void SetBatchMode(bool batch) { batchMode.store(batch); }

    bool IsContinue() const override;
    bool IsQuestionShowing() const override;
    void WaitWhileQuestionShowing() const override;
    bool IsBatchMode() const override { return batchMode.load(); }
    void ShowRefusal(const QString& message) override;

signals:
    // Also SearchMonitor's: emitted from the search thread, it reaches ProgressEnd queued.
    void ProgressDone();

public slots:
    void on_pushButton_clicked();
    void ProgressEnd();

private:
    Ui::MarqueeProgressBar* ui = nullptr;
    StopQuestion question;
    BusyGuard guard{this};
    std::atomic<bool> batchMode{false};
};
