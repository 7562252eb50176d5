#include "pipeline/tinytask.h"

TinyTask::TinyTask(std::function<void()> stored, int value) : param(value), function(std::move(stored))
{
}

TinyTask::~TinyTask()
{
    wait();
}

void TinyTask::run()
{
    if (function)
        function();
    emit signalEnd(param);
}
