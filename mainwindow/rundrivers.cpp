#include "mainwindow/rundrivers.h"

#include "dialogs/conflictdialog.h"
#include "dialogs/marqueeprogressbar.h"
#include "dialogs/progressbardialog.h"
#include "dialogs/resultdialog.h"
#include "mainwindow/operationmarker.h"
#include "pipeline/batchrun.h"
#include "pipeline/commandline.h"
#include "pipeline/filesearch.h"
#include "pipeline/tinytask.h"
#include "settings/pagesettingsrecord.h"
#include "validation/folderchecks.h"
#include "validation/warningbox.h"

#include <QCoreApplication>
#include <QDebug>
#include <QEvent>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QMetaObject>
#include <QtConcurrent/QtConcurrentRun>

namespace {

QString Text(const char* source)
{
    return QCoreApplication::translate("MainWindow", source);
}

template <typename Dialog>
void SetYesNo(Dialog& dialog)
{
    dialog.SetQuestionButtonTexts(Text("はい"), Text("いいえ"));
}

// Takes one page as the run needs it: canonical folders (the output folder is created), the two
// folders apart, the option values checked, the shared arguments built. Every refusal has been
// shown when this returns false.
bool PreparePage(RunHost& host, int tabIndex, PageRun* run)
{
    PageSettingsRecord record;
    if (!host.PageRecordAt(tabIndex, record))
        return false;
    QString input = record.generalInputDir;
    QString output = record.generalOutputDir;
    QWidget* parent = host.DialogParent();
    if (!CheckInputFolderPath(parent, input)) {
        host.FocusFolderField(tabIndex, false);
        return false;
    }
    if (!CheckOutputFolderPath(parent, output)) {
        host.FocusFolderField(tabIndex, true);
        return false;
    }
    // An existing folder the user may not write to would pass the checks above, and every file
    // would then be skipped without a word: say so before anything runs.
    if (!QFileInfo(output).isWritable()) {
        ShowWarningBox(parent, QCoreApplication::translate("RunDrivers", "出力フォルダーに書き込むことができません。\nPath : ")
                                   + output);
        host.FocusFolderField(tabIndex, true);
        return false;
    }
    if (input.compare(output, Qt::CaseInsensitive) == 0) {
        ShowWarningBox(parent, Text("出力フォルダーに入力フォルダーと同じ場所は指定できません。"));
        host.FocusFolderField(tabIndex, true);
        return false;
    }
    if (!host.SetDefaultOptionForPage(tabIndex, input, output, &run->option, &run->control))
        return false;
    run->tabIndex = tabIndex;
    run->engineTimeoutMs = host.EngineTimeoutMs();
    run->tabText = record.tabName;
    run->data.inputDir = input;
    run->data.outputDir = output;
    run->data.commonOptions = BuildCommonOptions(run->option, run->control);
    return true;
}

// Shows the dialog modally until the worker has ended, and returns only after both. The worker
// closes the dialog itself when it is done; its end closes it too, so that no road through a
// worker can leave the window stuck behind an open dialog. The records the worker fills are
// read only after this returns.
void ShowUntilDone(QDialog& dialog, const char* closeSlot, const QFuture<void>& work)
{
    QFutureWatcher<void> watcher;
    QObject::connect(&watcher, &QFutureWatcher<void>::finished, &dialog,
                     [&dialog, closeSlot] { QMetaObject::invokeMethod(&dialog, closeSlot); });
    watcher.setFuture(work);
    dialog.exec();
    watcher.waitForFinished();
}

void ShowUntilDone(QDialog& dialog, const char* closeSlot, TinyTask& task)
{
    QObject::connect(&task, &QThread::finished, &dialog,
                     [&dialog, closeSlot] { QMetaObject::invokeMethod(&dialog, closeSlot); });
    task.start();
    dialog.exec();
    task.wait();
}

// A search that ends with a problem: the message for it, and true when the run ends there.
bool ReportSearchStatus(QWidget* parent, const QString& status, const QStringList& conflicts)
{
    if (status == SearchStatus::ConflictError() || !conflicts.isEmpty()) {
        ConflictDialog dialog(parent);
        dialog.SetConflicts(conflicts);
        dialog.exec();
        return true;
    }
    // The processor has shown its own message for an unusable output folder.
    if (status == SearchStatus::OutputError())
        return true;
    if (status == SearchStatus::Interrupted()) {
        ShowWarningBox(parent, Text("Interrupted."));
        return true;
    }
    if (!status.isEmpty()) {
        ShowWarningBox(parent, status);
        return true;
    }
    return false;
}

bool SearchSinglePage(QWidget* parent, PageRun* run)
{
    QString status;
    QStringList conflicts;
    bool searchCompleted = true;
    {
        MarqueeProgressBar dialog(parent);
        SetYesNo(dialog);
        MarqueeProgressBar* monitor = &dialog;
        const QFuture<void> work = QtConcurrent::run([monitor, run, &conflicts, &status] {
            SearchPage(monitor, run, &conflicts, &status);
        });
        ShowUntilDone(dialog, "ProgressEnd", work);
        searchCompleted = dialog.IsContinue();
    }
    qDebug() << "1============================================================";
    if (status != SearchStatus::Interrupted() && ReportSearchStatus(parent, status, conflicts))
        return false;
    if (run->data.files.isEmpty()) {
        ShowWarningBox(parent, Text("There are no files in the input folder that can be processed."));
        return false;
    }
    if (status == SearchStatus::Interrupted() || !searchCompleted) {
        ShowWarningBox(parent, Text("Interrupted."));
        return false;
    }
    return true;
}

void ShowResult(QWidget* parent, bool batch, const ResultData& result, const QString& outputDir,
                const ResultFolderList& folders)
{
    ResultDialog dialog(parent, batch);
    if (batch)
        dialog.SetFolderList(folders);
    else
        dialog.SetOutputFolder(outputDir);
    dialog.BuildSummary(result);
    dialog.exec();
}

// Refuses every close of the watched window for as long as it lives. The modal dialogs of a run
// already keep the title bar's close button away; this catches a close() that comes from code
// (another instance's hand-over, a session's end) while the run's dialogs are up: the run's
// records live in the driver's frame, and the window must outlive them.
class CloseRefusal : public QObject
{
public:
    explicit CloseRefusal(QWidget* watched) : watched(watched)
    {
        if (watched)
            watched->installEventFilter(this);
    }
    ~CloseRefusal() override
    {
        if (watched)
            watched->removeEventFilter(this);
    }

protected:
    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (object != watched || event->type() != QEvent::Close)
            return false;
        qDebug() << "close refused: a run is in progress";
        event->ignore();
        return true;
    }

private:
    QWidget* watched;
};

} // namespace

bool RunEntry(RunHost& host)
{
    OperationMarker marker("RunEntry");
    QWidget* parent = host.DialogParent();
    CloseRefusal refusal(parent ? parent->window() : nullptr);
    if (host.PageCount() <= 0)
        return false;
    if (!host.IsBatchMode())
        return RunSinglePage(host, host.CurrentIndex());
    return RunBatch(host);
}

bool RunSinglePage(RunHost& host, int tabIndex)
{
    OperationMarker marker("RunSinglePage");
    PageRun run;
    if (!PreparePage(host, tabIndex, &run))
        return false;
    if (!host.FindEngine(run.data.exePath))
        return false;
    qDebug() << "CLI_EXE_NAME : " << run.data.exePath;

    QWidget* parent = host.DialogParent();
    if (!SearchSinglePage(parent, &run))
        return true;
    qDebug() << "2============================================================";

    ResultData result;
    {
        ProgressBarDialog dialog(parent, false);
        SetYesNo(dialog);
        const int fileCount = int(run.data.files.size());
        dialog.SetDenominator(fileCount);
        emit dialog.SetFraction(0);
        dialog.SetMaxProgress(fileCount);
        dialog.StartTimer();
        ProgressBarDialog* monitor = &dialog;
        ResultData* counted = &result;
        const PageRun* page = &run;
        const QFuture<void> work = QtConcurrent::run([monitor, page, counted] {
            ProcessPage(monitor, *page, counted, true);
        });
        ShowUntilDone(dialog, "ProgressDone", work);
    }
    if (RefusedOptions(result))
        ShowWarningBox(parent, Text("追加引数に問題があります。\n引数指定を確認してください。"));
    ShowResult(parent, false, result, run.data.outputDir, {});
    return true;
}

bool RunBatch(RunHost& host)
{
    OperationMarker marker("RunBatch");
    // Every checked page is checked before any search, and taken whole: the workers never read
    // a form, and a refusal shows the page it concerns before anything has been done.
    BatchState state;
    for (int i = 0; i < host.PageCount(); ++i) {
        PageSettingsRecord record;
        if (!host.PageRecordAt(i, record))
            return false;
        if (!record.checked)
            continue;
        PageRun run;
        if (!PreparePage(host, i, &run))
            return false;
        state.pages.append(run);
    }
    QString enginePath;
    if (!host.FindEngine(enginePath))
        return false;
    qDebug() << "CLI_EXE_NAME : " << enginePath;
    for (PageRun& page : state.pages)
        page.data.exePath = enginePath;

    QWidget* parent = host.DialogParent();
    {
        MarqueeProgressBar dialog(parent);
        dialog.SetBatchMode(true);
        SetYesNo(dialog);
        MarqueeProgressBar* monitor = &dialog;
        TinyTask search([monitor, &state] { BatchSearch(monitor, &state); });
        ShowUntilDone(dialog, "ProgressEnd", search);
    }
    if (ReportSearchStatus(parent, state.status, state.conflicts))
        return true;

    {
        ProgressBarDialog dialog(parent, true);
        SetYesNo(dialog);
        dialog.batchTotal = state.totalFiles;
        dialog.StartTimer();
        ProgressBarDialog* monitor = &dialog;
        // Runs on the worker: the dialog's setters are handed to its own thread, in order.
        const PageStarting pageStarting = [monitor](int batchPercent, int fileCount) {
            QMetaObject::invokeMethod(
                monitor,
                [monitor, batchPercent, fileCount] {
                    monitor->SetProgressBatch(batchPercent);
                    monitor->SetDenominator(fileCount);
                    monitor->SetMaxProgress(fileCount);
                },
                Qt::QueuedConnection);
            emit monitor->SetFraction(0);
        };
        TinyTask process([monitor, &state, &pageStarting] { BatchProcess(monitor, &state, pageStarting); });
        ShowUntilDone(dialog, "ProgressDone", process);
    }
    qDebug() << "1============================================================";

    ResultFolderList folders;
    for (int i = 0; i < host.PageCount(); ++i) {
        PageSettingsRecord record;
        host.PageRecordAt(i, record);
        QString output;
        for (const PageRun& page : state.pages)
            if (page.tabIndex == i)
                output = page.data.outputDir;
        folders.append({record.tabName, output});
    }
    ShowResult(parent, true, state.total, QString(), folders);
    return true;
}
