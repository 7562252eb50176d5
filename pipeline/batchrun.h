#pragma once

// The widget-free half of a run: one page taken as the run needs it, and the two workers of a
// batch (the search of every page, then the processing of every page under one dialog).
// Everything a worker reads was taken from the page forms on the user-interface thread before
// it started, so no worker ever touches a widget.

#include "pipeline/runrecords.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

class ProcessMonitor;
class SearchMonitor;

// One page of a run, checked and canonical: folders, option values, switches, engine and the
// arguments every file shares. The search fills data.files.
struct PageRun
{
    int tabIndex = -1;
    QString tabText;
    ProcessData data;
    DefaultOption option;
    ProcessControl control;
    int engineTimeoutMs = 0;    // how long one engine may run; 0 for the processor's own limit
};

// What the two workers of a batch share with the driver. The driver reads it only after the
// worker that writes it has ended.
struct BatchState
{
    QList<PageRun> pages;       // the checked pages, in tab order
    qint32 totalFiles = 0;
    QString status;             // the search's status, shared by every page
    QStringList conflicts;      // "[[ tab ]]" then that page's conflicting names, page by page
    ResultData total;
};

// The header that introduces one page's lines in a batch's failed-file and conflict lists.
QString BatchPageHeader(const QString &tabText);

// Searches one page's input folder into run->data.files.
void SearchPage(SearchMonitor *monitor, PageRun *run, QStringList *conflicts, QString *status);

// Processes one page's files into result.
void ProcessPage(ProcessMonitor *monitor, const PageRun &run, ResultData *result, bool lastPage);

// The page was stopped because the engine refused its additional options.
bool RefusedOptions(const ResultData &result);

// Searches every page into its data.files. Pages with clashing names add their header and names
// to conflicts; a status other than a cancel or a clash ends the search at once. Tells the
// monitor the search has ended.
void BatchSearch(SearchMonitor *monitor, BatchState *state);

// Called on the worker before each page is processed, with the batch's percentage so far and the
// page's file count, so that the dialog can show which part of the batch is running.
using PageStarting = std::function<void(int batchPercent, int fileCount)>;

// Processes the pages one after the other, summed into total. A page stopped by refused
// additional options is listed and the next page runs; any other stop ends the batch.
void BatchProcess(ProcessMonitor *monitor, BatchState *state, const PageStarting &pageStarting);

// Adds one page's outcome to the batch total: counters, bytes, elapsed time, the page's failed
// files (or the refused-options line) under its header, and whether the batch is to stop.
void AddPageResult(ResultData *total, const ResultData &page, const QString &tabText);
