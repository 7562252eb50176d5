#pragma once

// A page with every field away from its default and inside the form's ranges, for the tests that
// must see each field survive the form, a file, a duplicate or a restart.

#include "settings/pagesettingsrecord.h"
#include "settings/settingsstore.h"

#include <QJsonDocument>
#include <QJsonObject>

inline PageSettingsRecord SamplePage(const QString& name, bool checked = true)
{
    PageSettingsRecord record;
    SettingsStore::ReadPageJson(record, QJsonDocument::fromJson(R"(
        {"generalInputDir": "/in/x/", "generalOutputDir": "/out/y/", "generalOutputFormat": 6, "balanceReducemode": 2, "generalSubFolder": false,
        "generalUpdateFile": true, "generalOptMarkWritee": false, "jpegFileSizeGroup": true, "jpegUpperLimit": 250, "jpegMaintainImageQual": true,
        "uniqueLogFile": true, "uniqueImageSuppression": false, "uniqueBaseLineJPEG": true, "uniqueICC": 3, "uniqueAddOption": true,
        "uniqueAddOptionStr": "-foo \"a b\"", "resizeGroup": true, "resizeRadio": 2, "resizeWidth": 640, "resizeHeight": 480, "resizeLongSide": 20000,
        "resizeMagnification": 999, "resizeImageFit": 3, "resizeSmallImage": false, "resizeForm": 2, "useSuffix": true, "suffix": "_small",
        "stampGroup": true, "stampFile": "/logos/mark.png", "stampOpaque": 0, "stampOffsetX": -9999, "stampOffsetY": 9999, "stampPosition": "bottomleft"})").object());
    record.tabName = name;
    record.checked = checked;
    return record;
}
