#include "pipeline/timeleft.h"

#include <numeric>

QString FormatTime(qint64 hh, qint64 mm, qint64 ss)
{
    const QChar zero(u'0');
    return QStringLiteral("%1:%2:%3")
        .arg(hh, 2, 10, zero)
        .arg(mm, 2, 10, zero)
        .arg(ss, 2, 10, zero);
}

QString FormatSeconds(qint64 seconds)
{
    return FormatTime(seconds / 3600, (seconds / 60) % 60, seconds % 60);
}

bool TimeLeftEstimator::AddFinishedFile(qint32 position, qint32 total, qint32 done,
                                        qint64 elapsedSeconds, qint32 *shownSeconds)
{
    if (total <= 0 || done <= 0)
        return false;
    const qint32 pct = qint32((qint64(position) * 100) / total);
    // Too early: the first files say little about the rest of the run.
    if (pct < 10 && done <= 100 && elapsedSeconds <= 60)
        return false;

    const double perFile = double(elapsedSeconds) / double(done);
    const qint32 remaining = qint32(double(total - done) * perFile);

    ++estimateCount;
    estimates.append(remaining);
    while (estimates.size() > kWindow)
        estimates.removeFirst();
    if (estimates.size() < kWindow || estimateCount < kWindow)
        return false;

    estimateCount = 0;
    const qint64 sum = std::accumulate(estimates.cbegin(), estimates.cend(), qint64(0));
    const qint64 mean = sum / kWindow;
    *shownSeconds = qint32(((mean + 5) / 10) * 10);
    return true;
}
