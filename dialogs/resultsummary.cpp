#include "dialogs/resultsummary.h"

#include "pipeline/runrecords.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

#include <array>
#include <cstdio>

namespace {

const char* const kContext = "ResultDialog";

// "KB" up to "EB" is every unit a 64-bit count can reach; the search below never goes past it.
constexpr std::array<const char*, 6> kUnits = {"KB", "MB", "GB", "TB", "PB", "EB"};

// Cuts a fixed-notation number after its third significant digit; the integer part is kept
// whole, and a point left at the end goes with the fraction.
QString ThreeSignificantDigits(const QString& fixed)
{
    const qsizetype point = fixed.indexOf(u'.');
    const qsizetype integerDigits = point < 0 ? fixed.size() : point;
    if (integerDigits >= 3 || point < 0)
        return fixed.left(integerDigits);
    return fixed.left(point + 1 + (3 - integerDigits));
}

QString SizeLine(const char* label, quint64 bytes)
{
    return QStringLiteral("%1 : %2 (%3 バイト)\n")
        .arg(QString::fromUtf8(label), FormatByteSize(bytes, true), FormatByteCount(bytes));
}

QString CountLine(const char* label, quint32 count)
{
    return QStringLiteral("%1 : %2\n").arg(QString::fromUtf8(label)).arg(count);
}

} // namespace

QString FormatByteSize(quint64 bytes, bool spaceBeforeUnit)
{
    if (bytes < 1024)
        return QString::number(bytes);
    quint64 divisor = 1024;
    std::size_t unit = 0;
    // Compared as bytes / 1024 so the divisor never overflows near the top of the range.
    while (divisor <= bytes / 1024 && unit + 1 < kUnits.size()) {
        divisor *= 1024;
        ++unit;
    }
    // printf's rounding, as the standard stream rounds, not QString's.
    char fixed[64];
    std::snprintf(fixed, sizeof fixed, "%.2f", double(bytes) / double(divisor));
    QString text = ThreeSignificantDigits(QString::fromLatin1(fixed));
    if (spaceBeforeUnit)
        text += u' ';
    return text + QLatin1String(kUnits[unit]);
}

QString FormatByteCount(quint64 bytes)
{
    // The summary is Japanese whatever the system's locale says.
    return QLocale(QLocale::Japanese, QLocale::Japan).toString(bytes);
}

QString ReducedPercentText(quint64 inputBytes, quint64 outputBytes)
{
    const double saved = (double(inputBytes) - double(outputBytes)) * 100.0 / double(inputBytes);
    return QString::number(100.0 - saved, 'f', 1);
}

QString SummaryText(const ResultData& result)
{
    QString text;
    text += CountLine("入力ファイル数", result.fileCount);
    text += CountLine("エラー", result.failureCount);
    text += CountLine("スキップ", result.skipCount);
    text += CountLine("出力ファイル数", result.successCount);
    text += u'\n';
    text += QStringLiteral("処理時間 : %1\n").arg(result.elapsedText);
    text += u'\n';
    text += SizeLine("総入力サイズ", result.inputBytes);
    text += SizeLine("総出力サイズ", result.outputBytes);
    text += u'\n';
    if (result.outputBytes < result.inputBytes) {
        text += QCoreApplication::translate(kContext, "元のファイルサイズの") + u' '
                + ReducedPercentText(result.inputBytes, result.outputBytes)
                + QCoreApplication::translate(kContext, " % に軽量化しました。\n");
    } else {
        text += QStringLiteral("軽量化 : 0 %\n");
    }
    if (result.suspended)
        text += QCoreApplication::translate(kContext, "処理を中断しました。\n");
    return text;
}
