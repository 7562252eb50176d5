#include "mainwindow/pagerules.h"

#include "settings/pagesettingsrecord.h"

#include <QColor>
#include <QPalette>

namespace PageRules {

std::optional<bool> JpegSizeGroupApplies(int formatIndex)
{
    switch (formatIndex) {
    case OutputFormatAuto:
    case OutputFormatSame:
    case OutputFormatJpeg:
        return true;
    case OutputFormatPng:
    case OutputFormatGif:
    case OutputFormatWebp:
    case OutputFormatAvif:
        return false;
    default:
        return std::nullopt;
    }
}

bool FitAllowsNotExpand(int fitIndex, int fitCount)
{
    return fitIndex == 0 && fitCount > 0;
}

std::optional<ResizeFields> ResizeFieldsFor(int mode, int fitIndex, int fitCount)
{
    if (mode < ResizeModeWidth || mode > ResizeModeImageFit)
        return std::nullopt;
    const bool fit = mode == ResizeModeImageFit;
    ResizeFields fields;
    fields.width = mode == ResizeModeWidth || fit;
    fields.height = mode == ResizeModeHeight || fit;
    fields.longSide = mode == ResizeModeLongSide;
    fields.magnification = mode == ResizeModeMagnification;
    fields.imageFit = fit;
    fields.notExpand = !fit || FitAllowsNotExpand(fitIndex, fitCount);
    return fields;
}

QString SampleOutputName(bool useSuffix, const QString& suffix)
{
    // The preview names a JPEG whatever the output format: it shows where the suffix goes.
    return QStringLiteral("sample") + (useSuffix ? suffix : QString()) + QStringLiteral(".jpg");
}

QString TitleColourName(bool darkTheme, bool enabled, const QPalette& palette)
{
    QColor colour;
    if (darkTheme)
        colour = enabled ? QColor(255, 255, 255) : QColor::fromRgbF(0.65f, 0.65f, 0.65f);
    else
        colour = palette.color(enabled ? QPalette::Active : QPalette::Disabled, QPalette::Text);
    return colour.name(QColor::HexRgb);
}

QString TitleStyleSheet(const QString& colourName)
{
    return QStringLiteral("QGroupBox::title{ color: ") + colourName + QStringLiteral(" }");
}

QString PositionButtonStyleSheet(bool darkTheme)
{
    static const QString lightFace = QStringLiteral(
        "QPushButton{\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,\t\tstop: 0 #9a9a9a, stop: 0.7 #6e6e6e);}");
    return (darkTheme ? QString() : lightFace) + QStringLiteral(
        "QPushButton{\tcolor: white;\tmargin: 0;\tpadding: 0;\tborder: 1px solid #333333;\tborder-radius: 3px;"
        "\tmin-width: 40px;\tmin-height: 40px;\tmax-width: 40px;\tmax-height: 40px;}"
        "QPushButton:checked{\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,"
        "\t\tstop: 0 #717171, stop: 0.7 #000000);}"
        "QPushButton:disabled{   color: rgba(255,255,255,30%);\tborder-color: #80333333;"
        "\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,\t\tstop: 0 #80828282, stop: 0.7 #80595959);}"
        "QPushButton:disabled:checked{   color: rgba(255,255,255,30%);"
        "\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,\t\tstop: 0 #717171, stop: 0.7 #000000);}"
        "QPushButton:hover{\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,"
        "\t\tstop: 0 #919191, stop: 0.7 #505050);}"
        "QPushButton:hover:checked{\tbackground-color: qlineargradient(x1: 0, y1: 0, x2: 0, y2: 1,"
        "\t\tstop: 0 #717171, stop: 0.7 #303030);}");
}

int StampPositionIndex(const QString& word)
{
    return StampPositionWords().indexOf(EffectiveStampPosition(word));
}

} // namespace PageRules
