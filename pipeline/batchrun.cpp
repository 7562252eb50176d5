#include "pipeline/batchrun.h"

#include "pipeline/filesearch.h"
#include "pipeline/processor.h"
#include "pipeline/runflags.h"

#include <QCoreApplication>
#include <QDebug>

QString BatchPageHeader(const QString &tabText)
{
    return QStringLiteral("[[ %1 ]]").arg(tabText);
}

void SearchPage(SearchMonitor *monitor, PageRun *run, QStringList *conflicts, QString *status)
{
    run->data.files.clear();
    GetAll(monitor, &run->data.files, run->data.inputDir, run->control.subFolder, QString(), 0,
           run->option.outformat, conflicts, status, run->data.outputDir);
}

void ProcessPage(ProcessMonitor *monitor, const PageRun &run, ResultData *result, bool lastPage)
{
    PreProcessing(monitor, run.data, run.option, run.control, result, lastPage,
                  run.engineTimeoutMs > 0 ? run.engineTimeoutMs : kEngineTimeoutMs);
}

bool RefusedOptions(const ResultData &result)
{
    return result.lastExitCode == kExitCodeBadOptions;
}

void BatchSearch(SearchMonitor *monitor, BatchState *state)
{
    qDebug() << "==========BatchSearch S==========";
    for (PageRun &page : state->pages) {
        QStringList pageConflicts;
        SearchPage(monitor, &page, &pageConflicts, &state->status);
        // Once one page has clashes the status stays so; later pages are still looked at (their
        // top folders) so that the user sees every clash in one go.
        if (!pageConflicts.isEmpty()) {
            state->conflicts.append(BatchPageHeader(page.tabText));
            state->conflicts.append(pageConflicts);
        }
        const QString &status = state->status;
        if (!status.isEmpty() && status != SearchStatus::Interrupted() && status != SearchStatus::ConflictError())
            break;
        state->totalFiles += qint32(page.data.files.size());
    }
    monitor->ProgressDone();
    qDebug() << "==========BatchSearch E==========";
}

void AddPageResult(ResultData *total, const ResultData &page, const QString &tabText)
{
    total->fileCount += page.fileCount;
    total->failureCount += page.failureCount;
    total->skipCount += page.skipCount;
    total->successCount += page.successCount;
    total->inputBytes += page.inputBytes;
    total->outputBytes += page.outputBytes;
    total->elapsedText = page.elapsedText;

    const bool badOptions = RefusedOptions(page);
    if (!page.failedFiles.isEmpty() || badOptions) {
        total->failedFiles.append(BatchPageHeader(tabText));
        if (badOptions)
            total->failedFiles.append(QCoreApplication::translate(
                "MainWindow", "追加引数に問題があります。引数指定を確認してください。"));
        else
            total->failedFiles.append(page.failedFiles);
    }
    // Refused options concern only their page: the next page gets its chance.
    total->suspended = page.suspended && !badOptions;
}

void BatchProcess(ProcessMonitor *monitor, BatchState *state, const PageStarting &pageStarting)
{
    qDebug() << "==========BatchProcess S==========";
    const int pageCount = int(state->pages.size());
    int percent = 0;
    for (int i = 0; i < pageCount; ++i) {
        const PageRun &page = state->pages.at(i);
        percent += 100;
        if (pageStarting)
            pageStarting(percent / pageCount, int(page.data.files.size()));
        qDebug() << "CLI_EXE_NAME : " << page.data.exePath;

        ResultData pageResult;
        ProcessPage(monitor, page, &pageResult, i == pageCount - 1);
        AddPageResult(&state->total, pageResult, page.tabText);
        if (state->total.suspended)
            break;
        // The stop that refused options caused was the processor's own, not the user's.
        if (RefusedOptions(pageResult))
            monitor->SetCancel(false);
    }
    qDebug() << "==========BatchProcess E==========";
}
