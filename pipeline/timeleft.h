#pragma once

// Elapsed and remaining time as the progress dialog shows them.

#include <QList>
#include <QString>
#include <QtGlobal>

// Hours, minutes and seconds, each at least two digits and never cut, joined by ":".
QString FormatTime(qint64 hh, qint64 mm, qint64 ss);
// A count of seconds split into hours, minutes and seconds, then FormatTime.
QString FormatSeconds(qint64 seconds);

// The remaining-time estimate of one page. Created fresh for every page; the processor feeds
// it under its run mutex after each file whose engine run ended with exit code 0.
class TimeLeftEstimator
{
public:
    static constexpr int kWindow = 10;

    // position: 1-based place of the finished file in the page's list. total, done: the page's
    // file count and position (single page) or the batch's total and done counts.
    // Returns true and sets shownSeconds when a new value is to be displayed: the mean of the
    // last ten estimates rounded to ten seconds, at most once per ten estimates.
    bool AddFinishedFile(qint32 position, qint32 total, qint32 done, qint64 elapsedSeconds,
                         qint32 *shownSeconds);

private:
    QList<qint32> estimates;
    qint32 estimateCount = 0;
};
