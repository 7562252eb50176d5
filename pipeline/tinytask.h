#pragma once

// A worker thread that runs one stored function and reports its end with a number of the
// caller's choosing. A batch run owns two of them, one after the other: the search, then the
// processing of every page.

#include <QThread>

#include <functional>

class TinyTask : public QThread
{
    Q_OBJECT

public:
    explicit TinyTask(std::function<void()> function, int param = 0);
    // Waits for the thread: a task destroyed while its function runs would take the function's
    // captures with it.
    ~TinyTask() override;

    int param = 0;

signals:
    // Emitted on the worker thread after the function has returned.
    void signalEnd(int param);

protected:
    void run() override;

private:
    std::function<void()> function;
};
