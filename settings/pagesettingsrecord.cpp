#include "settings/pagesettingsrecord.h"
#include "settings/jsonvalues.h"
#include "settings/settingsstore.h"

#include <QLatin1StringView>

#include <iterator>

namespace {

// Each field of the page object, once: the key is the field's name. The write, the read
// and the tests all walk these tables, so a key cannot differ between them.
struct StringField { QLatin1StringView key; QString PageSettingsRecord::*member; };
struct Int32Field { QLatin1StringView key; qint32 PageSettingsRecord::*member; };
struct BoolField { QLatin1StringView key; bool PageSettingsRecord::*member; };

#define DK_FIELD(name) { QLatin1StringView(#name), &PageSettingsRecord::name }

const StringField kStringFields[] = {
    DK_FIELD(tabName),
    DK_FIELD(generalInputDir),
    DK_FIELD(generalOutputDir),
    DK_FIELD(uniqueAddOptionStr),
    DK_FIELD(suffix),
    DK_FIELD(stampFile),
    DK_FIELD(stampPosition),
};

const Int32Field kInt32Fields[] = {
    DK_FIELD(generalOutputFormat),
    DK_FIELD(balanceReducemode),
    DK_FIELD(viewListNum),
    DK_FIELD(jpegUpperLimit),
    DK_FIELD(uniqueICC),
    DK_FIELD(resizeRadio),
    DK_FIELD(resizeWidth),
    DK_FIELD(resizeHeight),
    DK_FIELD(resizeLongSide),
    DK_FIELD(resizeMagnification),
    DK_FIELD(resizeImageFit),
    DK_FIELD(resizeForm),
    DK_FIELD(stampOpaque),
    DK_FIELD(stampOffsetX),
    DK_FIELD(stampOffsetY),
};

const BoolField kBoolFields[] = {
    DK_FIELD(checked),
    DK_FIELD(generalSubFolder),
    DK_FIELD(generalUpdateFile),
    DK_FIELD(generalOptMarkWritee),
    DK_FIELD(jpegFileSizeGroup),
    DK_FIELD(jpegMaintainImageQual),
    DK_FIELD(uniqueLogFile),
    DK_FIELD(uniqueImageSuppression),
    DK_FIELD(uniqueBaseLineJPEG),
    DK_FIELD(uniqueAddOption),
    DK_FIELD(resizeGroup),
    DK_FIELD(resizeSmallImage),
    DK_FIELD(useSuffix),
    DK_FIELD(stampGroup),
};

#undef DK_FIELD

static_assert(std::size(kStringFields) + std::size(kInt32Fields) + std::size(kBoolFields) == 36,
              "a page object carries exactly 36 keys");

// Out of [low, high] (negatives included) gives replacement.
void ResetOutside(qint32 &value, qint32 low, qint32 high, qint32 replacement)
{
    if (value < low || value > high)
        value = replacement;
}

void CutTo(QString &text, int maximumLength)
{
    if (text.size() > maximumLength)
        text.truncate(maximumLength);
}

} // namespace

const QStringList &StampPositionWords()
{
    static const QStringList words = {
        QStringLiteral("topleft"),    QStringLiteral("top"),    QStringLiteral("topright"),
        QStringLiteral("left"),       QStringLiteral("center"), QStringLiteral("right"),
        QStringLiteral("bottomleft"), QStringLiteral("bottom"), QStringLiteral("bottomright"),
    };
    return words;
}

QString EffectiveStampPosition(const QString &stampPosition)
{
    return StampPositionWords().contains(stampPosition) ? stampPosition
                                                        : QStringLiteral("center");
}

void SettingsStore::WritePageJson(const PageSettingsRecord &record, QJsonObject &object)
{
    for (const auto &field : kStringFields)
        object.insert(field.key, record.*field.member);
    for (const auto &field : kInt32Fields)
        object.insert(field.key, int(record.*field.member));
    for (const auto &field : kBoolFields)
        object.insert(field.key, record.*field.member);
}

void SettingsStore::ReadPageJson(PageSettingsRecord &record, const QJsonObject &object)
{
    const PageSettingsRecord defaults;
    for (const auto &field : kStringFields)
        record.*field.member = JsonValues::StringOr(object, field.key, defaults.*field.member);
    for (const auto &field : kInt32Fields)
        record.*field.member = JsonValues::Int32Or(object, field.key, defaults.*field.member);
    for (const auto &field : kBoolFields)
        record.*field.member = JsonValues::BoolOr(object, field.key, defaults.*field.member);

    // A name edited by hand may carry line breaks or padding that a tab cannot show.
    record.tabName.remove(QLatin1Char('\n'));
    record.tabName = record.tabName.trimmed();

    record.stampOpaque = qBound(PageLimits::kStampOpaqueMin, record.stampOpaque,
                                PageLimits::kStampOpaqueMax);
    record.stampOffsetX = qBound(PageLimits::kStampOffsetMin, record.stampOffsetX,
                                 PageLimits::kStampOffsetMax);
    record.stampOffsetY = qBound(PageLimits::kStampOffsetMin, record.stampOffsetY,
                                 PageLimits::kStampOffsetMax);
}

void SettingsStore::ValidatePageData(PageSettingsRecord &record)
{
    using namespace PageLimits;
    const PageSettingsRecord defaults;
    CutTo(record.tabName, kTabNameMaxLength);
    CutTo(record.generalInputDir, kFolderPathMaxLength);
    CutTo(record.generalOutputDir, kFolderPathMaxLength);
    ResetOutside(record.generalOutputFormat, kOutputFormatMin, kOutputFormatMax, defaults.generalOutputFormat);
    // 0 is let through on purpose: only values beyond the scale fall back, and to its top.
    ResetOutside(record.balanceReducemode, 0, kReducemodeMax, kReducemodeMax);
    ResetOutside(record.jpegUpperLimit, kJpegUpperLimitMin, kJpegUpperLimitMax, defaults.jpegUpperLimit);
    ResetOutside(record.uniqueICC, kIccMin, kIccMax, defaults.uniqueICC);
    CutTo(record.uniqueAddOptionStr, kAddOptionMaxLength);
    ResetOutside(record.resizeRadio, kResizeRadioMin, kResizeRadioMax, defaults.resizeRadio);
    ResetOutside(record.resizeWidth, kResizeSizeMin, kResizeSizeMax, defaults.resizeWidth);
    ResetOutside(record.resizeHeight, kResizeSizeMin, kResizeSizeMax, defaults.resizeHeight);
    ResetOutside(record.resizeLongSide, kResizeSizeMin, kResizeSizeMax, defaults.resizeLongSide);
    ResetOutside(record.resizeMagnification, kMagnificationMin, kMagnificationMax, defaults.resizeMagnification);
    ResetOutside(record.resizeImageFit, kImageFitMin, kImageFitMax, defaults.resizeImageFit);
    ResetOutside(record.resizeForm, kResizeFormMin, kResizeFormMax, defaults.resizeForm);
}
