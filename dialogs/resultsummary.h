#pragma once

// The run's summary as the result dialog shows it: plain text built from ResultData, with no
// widget involved, so the drivers and tests can build it without a window.

#include <QString>
#include <QtGlobal>

struct ResultData;

// Below 1024 bytes the plain number; above, three significant digits (the integer part never
// cut) and the binary unit, "KB" to "EB".
QString FormatByteSize(quint64 bytes, bool spaceBeforeUnit);

// Byte count with the Japanese digit grouping ("3,000,000"); "0" for zero.
QString FormatByteCount(quint64 bytes);

// Output size as a percentage of the input size, one decimal: "50.0". Only meaningful when
// outputBytes < inputBytes.
QString ReducedPercentText(quint64 inputBytes, quint64 outputBytes);

// The whole summary text, line by line, ending with a line break.
QString SummaryText(const ResultData& result);
