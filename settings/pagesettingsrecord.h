#pragma once

// One page: a named, complete set of folders and options, held outside the editor form.
// The field names are the JSON keys of the page object.

#include <QString>
#include <QStringList>
#include <QtGlobal>

// Limits of a page record, shared by the validation and by the editors that keep values in range.
namespace PageLimits {
inline constexpr int kMaxPages = 10;
inline constexpr int kTabNameMaxLength = 32;
inline constexpr int kFolderPathMaxLength = 240;
inline constexpr int kAddOptionMaxLength = 200;
inline constexpr int kSuffixEditorMaxLength = 32;

inline constexpr int kOutputFormatMin = 0, kOutputFormatMax = 6;
inline constexpr int kReducemodeMin = 1, kReducemodeMax = 8;
inline constexpr int kReducemodeStandard = 5;
inline constexpr int kJpegUpperLimitMin = 1, kJpegUpperLimitMax = 100000;
inline constexpr int kIccMin = 0, kIccMax = 3;
inline constexpr int kResizeRadioMin = 0, kResizeRadioMax = 4;
inline constexpr int kResizeSizeMin = 1, kResizeSizeMax = 20000;
inline constexpr int kMagnificationMin = 1, kMagnificationMax = 999;
inline constexpr int kImageFitMin = 0, kImageFitMax = 4;
inline constexpr int kResizeFormMin = 0, kResizeFormMax = 2;
inline constexpr int kStampOpaqueMin = 0, kStampOpaqueMax = 100;
inline constexpr int kStampOffsetMin = -9999, kStampOffsetMax = 9999;
} // namespace PageLimits

// Index values of generalOutputFormat.
enum PageOutputFormat : int {
    OutputFormatAuto = 0,   // JPEG or PNG chosen to suit each image
    OutputFormatSame = 1,
    OutputFormatJpeg = 2,
    OutputFormatPng = 3,
    OutputFormatGif = 4,
    OutputFormatWebp = 5,
    OutputFormatAvif = 6,
};

// Index values of resizeRadio.
enum PageResizeMode : int {
    ResizeModeWidth = 0,
    ResizeModeHeight = 1,
    ResizeModeLongSide = 2,
    ResizeModeMagnification = 3,
    ResizeModeImageFit = 4,
};

struct PageSettingsRecord
{
    QString tabName = QStringLiteral("page");
    bool checked = false;
    QString generalInputDir;
    QString generalOutputDir;
    qint32 generalOutputFormat = OutputFormatSame;
    qint32 balanceReducemode = PageLimits::kReducemodeStandard;
    qint32 viewListNum = 0;
    bool generalSubFolder = true;
    bool generalUpdateFile = false;
    bool generalOptMarkWritee = true;
    bool jpegFileSizeGroup = false;
    qint32 jpegUpperLimit = 1000;
    bool jpegMaintainImageQual = false;
    bool uniqueLogFile = false;
    bool uniqueImageSuppression = true;
    bool uniqueBaseLineJPEG = false;
    qint32 uniqueICC = 0;
    bool uniqueAddOption = false;
    QString uniqueAddOptionStr;
    bool resizeGroup = false;
    qint32 resizeRadio = ResizeModeImageFit;
    qint32 resizeWidth = 1000;
    qint32 resizeHeight = 1000;
    qint32 resizeLongSide = 1000;
    qint32 resizeMagnification = 100;
    qint32 resizeImageFit = 0;
    bool resizeSmallImage = true;
    qint32 resizeForm = 0;
    bool useSuffix = false;
    QString suffix;
    bool stampGroup = false;
    QString stampFile;
    qint32 stampOpaque = 100;
    qint32 stampOffsetX = 0;
    qint32 stampOffsetY = 0;
    QString stampPosition = QStringLiteral("center");

    bool operator==(const PageSettingsRecord &) const = default;
};

// The nine stamp anchor words in the grid order of their buttons (row by row, left to right).
const QStringList &StampPositionWords();

// The anchor a record's stampPosition stands for: the word itself when it is one of the nine,
// "center" otherwise. The record keeps whatever it holds; showing and using go through this.
QString EffectiveStampPosition(const QString &stampPosition);
