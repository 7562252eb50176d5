#pragma once

// The engine's command line: the checks of a page's option values, the argument list shared
// by every file of the page, and the splitting of the additional-options text.

#include "pipeline/runrecords.h"

#include <QString>
#include <QStringList>

struct PageSettingsRecord;

// Why a page's options were refused: the message for the standard warning box, the object
// name of the form control to focus, and the row of the details panel to open (-1: leave the
// panel as it is).
struct OptionRefusal
{
    QString message;
    QString focusControl;
    int detailsRow = -1;
};

// Rows of the details panel's category list that a refusal can open.
namespace DetailsRow {
inline constexpr int kResize = 0;
inline constexpr int kJpegFileSize = 1;
inline constexpr int kSuffix = 2;
inline constexpr int kStamp = 4;
inline constexpr int kSpecial = 5;
} // namespace DetailsRow

// Fills both records from the page's values and the two canonical folders. On the first
// failed check it fills refusal and returns false; the records are then partly filled and
// are to be discarded. The stamp check looks at the file system; everything else is pure.
bool SetDefaultOption(const PageSettingsRecord &page, const QString &inputDir,
                      const QString &outputDir, DefaultOption *option, ProcessControl *control,
                      OptionRefusal *refusal);

// Checks the additional-options text. recheck false stops after the character rules; with
// recheck true a text that is exactly one of the options the application always passes is
// refused too (the resize options only when resize is on). On refusal fills message.
bool CheckAddOption(const QString &text, bool recheck, bool resize, QString *message);

// The arguments shared by every file of the page, in the engine's documented order.
QStringList BuildCommonOptions(const DefaultOption &option, const ProcessControl &control);

// Splits at blanks outside double quotes; quotes are dropped, an unclosed quote runs to the end,
// two blanks in a row give an empty piece.
QStringList SplitOptionText(const QString &text);

// The value words that the page's index fields stand for, in index order.
const QStringList &OutputFormatWords();   // "auto", "same", "jpg", "png", "gif", "webp", "avif"
