#pragma once

// The stop flags that a run's modal dialog shares with the workers of the search and of the
// processor, and the two interfaces through which those workers talk to their dialog.
// The dialogs implement the interfaces (usually by holding a RunFlags and forwarding to it);
// tests implement them without any window.

#include <QMutex>
#include <QString>
#include <QWaitCondition>
#include <QtGlobal>

#include <atomic>

// continueRun and questionShowing are written on the user-interface thread (continueRun also
// by a worker that requests a stop) and read by workers without a lock. A worker that finds the
// stop question open sleeps on a wait condition until the question closes: spinning would take
// the cores that the running engines need.
class RunFlags
{
public:
    bool IsContinue() const { return continueRun.load(); }
    // cancel true requests a stop; false withdraws it (the batch driver does, between pages).
    void SetCancel(bool cancel) { continueRun.store(!cancel); }

    bool IsQuestionShowing() const { return questionShowing.load(); }
    // Closing the question (false) wakes every waiting worker.
    void SetQuestionShowing(bool showing);
    // Returns at once when no question is open.
    void WaitWhileQuestionShowing() const;

private:
    std::atomic<bool> continueRun{true};
    std::atomic<bool> questionShowing{false};
    mutable QMutex waitMutex;
    mutable QWaitCondition questionClosed;
};

// What the file search needs from its dialog. Every member may be called from any thread.
class SearchMonitor
{
public:
    virtual ~SearchMonitor() = default;

    virtual bool IsContinue() const = 0;
    virtual bool IsQuestionShowing() const = 0;
    virtual void WaitWhileQuestionShowing() const = 0;
    // Set by the batch driver before the search: the search of one page then leaves the
    // end signal to the driver, which sends it after the last page.
    virtual bool IsBatchMode() const = 0;
    // The search has ended; the dialog closes (queued to its own thread).
    virtual void ProgressDone() = 0;
    // A file or folder name broke a naming rule. The implementation shows the message on the
    // user-interface thread; whether it waits for the box to close is its own choice, the search
    // does not depend on it.
    virtual void ShowRefusal(const QString &message) = 0;
};

// What the file processor needs from its progress dialog. Every member may be called from any
// thread; the setters forward themselves to the dialog's thread.
class ProcessMonitor
{
public:
    virtual ~ProcessMonitor() = default;

    virtual void SetProgress(int percent) = 0;
    virtual void SetFraction(int started) = 0;
    virtual void SetInputFileName(const QString &path) = 0;
    virtual void SetOutputFileName(const QString &path) = 0;
    virtual void SetTimeLeft(int hh, int mm, int ss) = 0;
    // Processing has ended; the dialog closes.
    virtual void ProgressEnd() = 0;

    virtual bool IsContinue() const = 0;
    virtual bool IsQuestionShowing() const = 0;
    virtual void WaitWhileQuestionShowing() const = 0;
    virtual void SetCancel(bool cancel) = 0;

    // Milliseconds since the dialog's timer started, and the same time as FormatTime shows it.
    virtual qint64 ElapsedMs() const = 0;
    virtual QString ElapsedText() const = 0;

    // Batch runs only: files of all pages, and files done over the whole batch. The processor
    // changes batchDone only under its run mutex; 0 in batchTotal means a single-page run.
    qint32 batchTotal = 0;
    qint32 batchDone = 0;
};
