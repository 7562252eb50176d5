#pragma once

// Window-free stand-ins for the progress and search dialogs: they keep the flags the workers
// read and record what the workers reported, so tests can both steer a run and check it.

#include "pipeline/runflags.h"
#include "pipeline/timeleft.h"

#include <QtCore>

inline QString Native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

class TestProcessMonitor : public ProcessMonitor
{
public:
    TestProcessMonitor() { timer.start(); }

    void SetProgress(int) override {}
    void SetFraction(int) override {}
    void SetInputFileName(const QString &) override {}
    void SetOutputFileName(const QString &) override {}
    void SetTimeLeft(int hh, int mm, int ss) override
    {
        QMutexLocker lock(&mutex);
        timeLeft << FormatTime(hh, mm, ss);
    }
    void ProgressEnd() override { progressEnds.fetch_add(1); }
    bool IsContinue() const override { return flags.IsContinue(); }
    bool IsQuestionShowing() const override { return flags.IsQuestionShowing(); }
    void WaitWhileQuestionShowing() const override { flags.WaitWhileQuestionShowing(); }
    void SetCancel(bool cancel) override { flags.SetCancel(cancel); }
    qint64 ElapsedMs() const override { return timer.elapsed() + extraMs; }
    QString ElapsedText() const override { return FormatSeconds(ElapsedMs() / 1000); }

    RunFlags flags;
    QElapsedTimer timer;
    qint64 extraMs = 0;                   // lets a test pretend that time has passed
    std::atomic<int> progressEnds{0};
    QMutex mutex;
    QStringList timeLeft;
};

class TestSearchMonitor : public SearchMonitor
{
public:
    bool IsContinue() const override { return flags.IsContinue(); }
    bool IsQuestionShowing() const override { return flags.IsQuestionShowing(); }
    void WaitWhileQuestionShowing() const override { flags.WaitWhileQuestionShowing(); }
    bool IsBatchMode() const override { return batchMode; }
    void ProgressDone() override { progressDone.fetch_add(1); }
    void ShowRefusal(const QString &message) override
    {
        QMutexLocker lock(&mutex);
        refusals << message;
        if (onRefusal)
            onRefusal();
    }

    RunFlags flags;
    bool batchMode = false;
    std::atomic<int> progressDone{0};
    std::function<void()> onRefusal;
    QMutex mutex;
    QStringList refusals;
};
