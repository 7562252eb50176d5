// Figures for the search and for the processor's own overhead, printed for bench/pipeline.sh.
// Not a test: the machines are shared, so only ratios within one run mean much.
//
//   bench_pipeline [folders files-per-folder process-files]

#include "pipeline/commandline.h"
#include "pipeline/filesearch.h"
#include "pipeline/processor.h"
#include "pipeline/runflags.h"
#include "pipeline/timeleft.h"
#include "settings/pagesettingsrecord.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QProcess>
#include <QTemporaryDir>

#include <omp.h>

#include <algorithm>
#include <cstdio>

namespace {

class QuietSearch : public SearchMonitor
{
public:
    bool IsContinue() const override { return flags.IsContinue(); }
    bool IsQuestionShowing() const override { return flags.IsQuestionShowing(); }
    void WaitWhileQuestionShowing() const override { flags.WaitWhileQuestionShowing(); }
    bool IsBatchMode() const override { return false; }
    void ProgressDone() override {}
    void ShowRefusal(const QString &) override {}
    RunFlags flags;
};

class QuietProgress : public ProcessMonitor
{
public:
    QuietProgress() { timer.start(); }
    void SetProgress(int) override {}
    void SetFraction(int) override {}
    void SetInputFileName(const QString &) override {}
    void SetOutputFileName(const QString &) override {}
    void SetTimeLeft(int, int, int) override {}
    void ProgressEnd() override {}
    bool IsContinue() const override { return flags.IsContinue(); }
    bool IsQuestionShowing() const override { return flags.IsQuestionShowing(); }
    void WaitWhileQuestionShowing() const override { flags.WaitWhileQuestionShowing(); }
    void SetCancel(bool cancel) override { flags.SetCancel(cancel); }
    qint64 ElapsedMs() const override { return timer.elapsed(); }
    QString ElapsedText() const override { return FormatSeconds(timer.elapsed() / 1000); }
    RunFlags flags;
    QElapsedTimer timer;
};

void Touch(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
}

double Search(const QString &inputDir, int *found)
{
    QuietSearch monitor;
    QStringList files, conflicts;
    QString status;
    QElapsedTimer timer;
    timer.start();
    GetAll(&monitor, &files, inputDir, true, QString(), 0, QStringLiteral("jpg"), &conflicts,
           &status, QStringLiteral("/nowhere/"));
    *found = int(files.size());
    return timer.nsecsElapsed() / 1e9;
}

double Process(const QString &inputDir, const QString &outputDir, const QStringList &files,
               const QString &outformat, ResultData *result)
{
    PageSettingsRecord page;
    page.generalOutputFormat = int(OutputFormatWords().indexOf(outformat));
    page.uniqueLogFile = true;
    DefaultOption option;
    ProcessControl control;
    OptionRefusal refusal;
    SetDefaultOption(page, inputDir, outputDir, &option, &control, &refusal);
    ProcessData data;
    data.exePath = QStringLiteral(DRAVIK_STANDIN_ENGINE);
    data.inputDir = inputDir;
    data.outputDir = outputDir;
    data.files = files;
    data.commonOptions = BuildCommonOptions(option, control);
    QuietProgress monitor;
    QElapsedTimer timer;
    timer.start();
    PreProcessing(&monitor, data, option, control, result, true);
    return timer.nsecsElapsed() / 1e9;
}

// The same engine starts with nothing of the pipeline around them: the floor of what the
// processor can reach on this machine.
double BareStarts(const QString &inputDir, const QStringList &files)
{
    const int threads = std::clamp(omp_get_num_procs(), 1, kMaxEngineThreads);
    QElapsedTimer timer;
    timer.start();
    const int count = int(files.size());
#pragma omp parallel for schedule(dynamic, 1) num_threads(threads)
    for (int i = 0; i < count; ++i) {
        QProcess engine;
        engine.setStandardInputFile(QProcess::nullDevice());
        engine.setStandardOutputFile(QProcess::nullDevice());
        engine.start(QStringLiteral(DRAVIK_STANDIN_ENGINE),
                     {QStringLiteral("-in"), inputDir + files.at(i), QStringLiteral("-out"),
                      QStringLiteral("/nowhere")});
        engine.waitForFinished(kEngineTimeoutMs);
    }
    return timer.nsecsElapsed() / 1e9;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int folders = args.size() > 1 ? args.at(1).toInt() : 1000;
    const int perFolder = args.size() > 2 ? args.at(2).toInt() : 100;
    const int processFiles = args.size() > 3 ? args.at(3).toInt() : 10000;
    const QString sep = QDir::separator();

    QTemporaryDir root;
    if (!root.isValid())
        return 1;
    std::printf("processors (OpenMP): %d, engine threads: %d\n", omp_get_num_procs(),
                std::clamp(omp_get_num_procs(), 1, kMaxEngineThreads));

    // Search: folders × files, every tenth file not an image, names that never conflict.
    const QString tree = QDir::toNativeSeparators(root.filePath("tree")) + sep;
    for (int f = 0; f < folders; ++f) {
        const QString folder = tree + QStringLiteral("g%1").arg(f / 100) + sep + QStringLiteral("d%1").arg(f);
        QDir().mkpath(folder);
        for (int n = 0; n < perFolder; ++n)
            Touch(folder + sep + QStringLiteral("img%1.%2").arg(n).arg(n % 10 == 9 ? "txt" : "jpg"), {});
    }
    int found = 0;
    QLoggingCategory::setFilterRules(QStringLiteral("dravik.*.debug=false"));
    Search(tree, &found);   // the first walk warms the file system caches
    double best = 1e9;
    for (int run = 0; run < 3; ++run)
        best = std::min(best, Search(tree, &found));
    std::printf("search: %d files in %d folders (%d images found): %.3f s (best of 3), target < 2 s\n",
                folders * perFolder, folders, found, best);
    QLoggingCategory::setFilterRules(QStringLiteral("dravik.*.debug=true"));
    const double traced = Search(tree, &found);
    std::printf("search with the validation and pipeline debug lines on (to /dev/null if redirected): %.3f s\n",
                traced);
    QLoggingCategory::setFilterRules(QStringLiteral("dravik.*.debug=false"));

    // Processing: small inputs; the stand-in either exits at once or writes an output.
    const QString input = QDir::toNativeSeparators(root.filePath("in")) + sep;
    QDir().mkpath(input);
    QStringList quick, writing;
    for (int n = 0; n < processFiles; ++n) {
        const QString a = QStringLiteral("q%1_exit0.png").arg(n);
        const QString b = QStringLiteral("w%1.png").arg(n);
        Touch(input + a, QByteArray(512, 'i'));
        Touch(input + b, QByteArray(512, 'i'));
        quick << a;
        writing << b;
    }
    const double bare = BareStarts(input, quick);
    std::printf("bare engine starts (no pipeline): %d in %.2f s = %.0f files/s\n", processFiles,
                bare, processFiles / bare);

    ResultData quickResult;
    const QString out1 = QDir::toNativeSeparators(root.filePath("out1")) + sep;
    QDir().mkpath(out1);
    const double quickTime = Process(input, out1, quick, QStringLiteral("same"), &quickResult);
    std::printf("processor, engine exits at once: %d files in %.2f s = %.0f files/s (%.0f %% of bare), "
                "target >= 500 files/s\n",
                processFiles, quickTime, processFiles / quickTime, 100.0 * bare / quickTime);

    ResultData writeResult;
    const QString out2 = QDir::toNativeSeparators(root.filePath("out2")) + sep;
    QDir().mkpath(out2);
    const double writeTime = Process(input, out2, writing, QStringLiteral("same"), &writeResult);
    std::printf("processor, engine writes an output: %d files in %.2f s = %.0f files/s (success %u)\n",
                processFiles, writeTime, processFiles / writeTime, writeResult.successCount);

    ResultData autoResult;
    const QString out3 = QDir::toNativeSeparators(root.filePath("out3")) + sep;
    QDir().mkpath(out3);
    const double autoTime = Process(input, out3, writing, QStringLiteral("auto"), &autoResult);
    std::printf("processor, automatic format (temporary folder and move): %d files in %.2f s = %.0f files/s (success %u)\n",
                processFiles, autoTime, processFiles / autoTime, autoResult.successCount);
    return 0;
}
