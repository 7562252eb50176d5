#pragma once

// Every read and write of the settings folder, and the JSON form of a page.
// Stateless: make one on the stack wherever it is needed. Failures are reported as false,
// never thrown; readers fall back to defaults on missing or malformed content.
// Every file is written through a temporary file renamed into place, so an interrupted write
// leaves the previous file intact.

#include "settings/generalsettingsrecord.h"
#include "settings/pagesettingsrecord.h"
#include "settings/recentfolders.h"

#include <QChar>
#include <QJsonObject>
#include <QList>
#include <QString>

class SettingsStore
{
public:
    // File and folder names of the settings folder.
    static const QString &SettingsFolderName();    // "Lumeno Dravik for Desktop"
    static const QString &GeneralSettingsFileName(); // "GeneralSettings.json"
    static const QString &PageSettingsFileName();    // "PageSettings.json"
    static const QString &RecentFoldersFileName();   // "folderrecent.json"

    // The settings folder below a per-user data location, with every "/" and "\" turned into
    // separator. An empty location gives an empty folder path (every read and write then fails).
    static QString SettingsFolderFor(const QString &dataLocation, QChar separator);

    // The settings folder of this user: the generic data location plus the folder name,
    // native separators; empty when the platform gives no such location.
    QString GetSettingsFolder() const;

    // Page record <-> JSON object.
    static void WritePageJson(const PageSettingsRecord &record, QJsonObject &object);
    static void ReadPageJson(PageSettingsRecord &record, const QJsonObject &object);
    static void ValidatePageData(PageSettingsRecord &record);

    // General settings file.
    bool ReadGeneralSettings(GeneralSettingsRecord &record) const;
    bool WriteGeneralSettings(const GeneralSettingsRecord &record) const;
    bool WriteDarkStyle(bool dark) const;

    // Page settings file. ReadPageSettings appends to pages; with nothing stored it appends
    // the three default pages "page1", "page2", "page3".
    bool ReadPageSettings(QList<PageSettingsRecord> &pages) const;
    bool WritePageSettings(const QList<PageSettingsRecord> &pages) const;

    // Folder history file.
    bool ReadRecentFolders(RecentFolders &lists) const;
    bool WriteRecentFolders(const RecentFolders &lists) const;
    // One-time move of the histories kept inside the pages by earlier versions. Writes the
    // history file only when the chosen page carries at least one of the old history keys as
    // an array; any other value there could only give empty lists.
    bool MoveRecentFromPageSettings(int lastSelectTab) const;

    // Page preset files: one page object per file, written like the settings files.
    enum class PageFileRead { Read, CannotOpen, NotAPageFile };
    bool WritePageFile(const PageSettingsRecord &record, const QString &path) const;
    // Read: the record holds the file's page, validated. A file that cannot be opened, or whose
    // content is not a JSON object, leaves the record untouched: an import must never turn a
    // wrong file into a wiped page.
    PageFileRead ReadPageFile(PageSettingsRecord &record, const QString &path) const;
};
