#pragma once

// Window and application state kept between runs in the general settings file.

#include <QtGlobal>

struct GeneralSettingsRecord
{
    bool lumenoDarkStyle = true;
    qint32 windowPosX = 0;
    qint32 windowPosY = 0;
    qint32 lastSelectTab = 0;
    bool isDetailedOpen = false;
    bool batchMode = false;     // stored and read back; nothing acts on it
    bool isMovedRecent = false; // the old per-page histories have been moved to the history file

    bool operator==(const GeneralSettingsRecord &) const = default;
};
