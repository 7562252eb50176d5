#include "pipeline/runflags.h"

void RunFlags::SetQuestionShowing(bool showing)
{
    // The store happens under the mutex so that a worker between its check and its wait
    // cannot miss the wake-up.
    QMutexLocker lock(&waitMutex);
    questionShowing.store(showing);
    if (!showing)
        questionClosed.wakeAll();
}

void RunFlags::WaitWhileQuestionShowing() const
{
    if (!questionShowing.load())
        return;
    QMutexLocker lock(&waitMutex);
    while (questionShowing.load())
        questionClosed.wait(&waitMutex);
}
