#pragma once

// The rules that keep one page's controls consistent, as plain functions of the values
// involved, so each can be checked without building a form.

#include <QString>

#include <optional>

class QPalette;

namespace PageRules {

// Whether the JPEG file-size group applies to the output format at this combo index: only the
// formats that can produce JPEG ("auto", "same", "jpg"). Nothing for an index outside the list.
std::optional<bool> JpegSizeGroupApplies(int formatIndex);

// Image fit only: small images can be kept from growing just with the plain fit-inside choice.
// False for a choice outside the fitCount items.
bool FitAllowsNotExpand(int fitIndex, int fitCount);

// Which resize fields are usable in a resize mode (0 width … 4 image fit). Image fit uses width
// and height as the box to fit into.
struct ResizeFields
{
    bool width = false;
    bool height = false;
    bool longSide = false;
    bool magnification = false;
    bool imageFit = false;
    bool notExpand = false;

    bool operator==(const ResizeFields&) const = default;
};
std::optional<ResizeFields> ResizeFieldsFor(int mode, int fitIndex, int fitCount);

// The name an output called "sample.jpg" would get with the page's suffix.
QString SampleOutputName(bool useSuffix, const QString& suffix);

// "#rrggbb" for a group-box title. The dark theme paints white titles and a fixed grey when
// disabled; the light theme follows the palette's text colour of the matching group.
QString TitleColourName(bool darkTheme, bool enabled, const QPalette& palette);
QString TitleStyleSheet(const QString& colourName);

// The look of the nine stamp position buttons: square, white labels, a dark gradient for the
// chosen one. The light theme has no button face of its own to put white labels on, so there
// they get the dark theme's grey.
QString PositionButtonStyleSheet(bool darkTheme);

// The grid position (0 top-left … 8 bottom-right) of a stamp position word; an unknown word
// counts as the centre.
int StampPositionIndex(const QString& word);

} // namespace PageRules
