#pragma once

// The four records that carry one page's run from the run button to the result dialog.
// They are plain values: the run driver owns them on its stack and hands them out by pointer.

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <atomic>

// What to process: engine, folders, files and the arguments shared by every file of the page.
struct ProcessData
{
    QString exePath;            // engine executable, native separators
    QString inputDir;           // canonical input folder (one trailing separator)
    QString outputDir;          // canonical output folder (one trailing separator)
    QStringList files;          // input files relative to inputDir, no leading separator
    QStringList commonOptions;  // engine arguments shared by every file, in order
};

// The engine option values taken from the page form, as the text that follows each option.
// "on"/"off" fields hold exactly "on" or "off".
struct DefaultOption
{
    QString inputDir;
    QString outputDir;
    QString optmarkwrite;
    QString outformat;
    QString outext;
    QString reducemode;
    QString jpegfilesizelimit;
    QString jpegfilesizelimithq;
    QString jpegqualitysafety;
    QString jpegfixbaseline;
    QString jpegiccp;
    QString width;
    QString height;
    QString longside;
    QString zoom;
    QString resizefit;
    QString resizenozoom;
    QString resizealg;
    QString stampFile;
    QString stampopaque;
    QString stampx;
    QString stampy;
    QString stamppos;
    QString addOptionText;
};

// The page's switches that decide which options are passed and how files are treated.
struct ProcessControl
{
    QString resizeMode;         // "width", "height", "longSide", "magni" or "imageFit"
    bool subFolder = false;
    bool updateFile = false;
    bool sizeAdjustment = false;
    bool createLogFile = false;
    bool addOption = false;
    bool resize = false;
    QString suffix;
    bool stamp = false;
};

// What happened. While workers run they change the counters, byte sums, suspended and
// lastExitCode only through the Atomic* helpers below (never by plain ++ or =), and
// failedFiles only under the run's mutex. Every other field is read-only during processing.
// The alignment keeps std::atomic_ref usable on platforms where 64-bit values are 4-aligned.
struct ResultData
{
    alignas(std::atomic_ref<quint32>::required_alignment) quint32 fileCount = 0;
    alignas(std::atomic_ref<quint32>::required_alignment) quint32 failureCount = 0;
    alignas(std::atomic_ref<quint32>::required_alignment) quint32 skipCount = 0;
    alignas(std::atomic_ref<quint32>::required_alignment) quint32 successCount = 0;
    QString elapsedText;
    alignas(std::atomic_ref<quint64>::required_alignment) quint64 inputBytes = 0;
    alignas(std::atomic_ref<quint64>::required_alignment) quint64 outputBytes = 0;
    alignas(std::atomic_ref<bool>::required_alignment) bool suspended = false;
    QStringList failedFiles;
    alignas(std::atomic_ref<qint32>::required_alignment) qint32 lastExitCode = 0;
};

// Atomic access to the fields of ResultData that workers share. Relaxed ordering is enough:
// the values are only counted here and read after the workers have ended (the end of the
// worker task is the synchronisation point) or shown as progress, where a stale value is harmless.
template <typename T>
inline void AtomicAdd(T &field, T amount)
{
    std::atomic_ref<T>(field).fetch_add(amount, std::memory_order_relaxed);
}

inline void AtomicIncrement(quint32 &counter)
{
    AtomicAdd<quint32>(counter, 1u);
}

template <typename T>
inline void AtomicStore(T &field, T value)
{
    std::atomic_ref<T>(field).store(value, std::memory_order_relaxed);
}

template <typename T>
inline T AtomicLoad(const T &field)
{
    // atomic_ref needs a non-const referent; the load itself never writes.
    return std::atomic_ref<T>(const_cast<T &>(field)).load(std::memory_order_relaxed);
}
