#include "settings/settingsstore.h"
#include "settings/jsonvalues.h"
#include "settings/operationmarker.h"
#include "validation/pathrules.h"

#include <QByteArray>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QStandardPaths>

namespace {

const QString kAllObjectKey = QStringLiteral("allObject");
const QString kDarkStyleKey = QStringLiteral("lumenoDarkStyle");
const QString kInputHistoryKey = QStringLiteral("inputHistory");
const QString kOutputHistoryKey = QStringLiteral("outputHistory");
const QString kStampHistoryKey = QStringLiteral("stampHistory");

// The general settings other than the dark flag, which only WriteDarkStyle changes in the file.
struct GeneralInt32Field { QLatin1StringView key; qint32 GeneralSettingsRecord::*member; };
struct GeneralBoolField { QLatin1StringView key; bool GeneralSettingsRecord::*member; };
#define DK_FIELD(name) { QLatin1StringView(#name), &GeneralSettingsRecord::name }
const GeneralInt32Field kGeneralInt32Fields[] = {
    DK_FIELD(windowPosX),
    DK_FIELD(windowPosY),
    DK_FIELD(lastSelectTab),
};
const GeneralBoolField kGeneralBoolFields[] = {
    DK_FIELD(isDetailedOpen),
    DK_FIELD(batchMode),
    DK_FIELD(isMovedRecent),
};
#undef DK_FIELD

// Reads a whole settings file as one JSON object. False only when the file cannot be opened;
// content that is not JSON, or whose top level is not an object, reads as an empty object.
bool ReadObjectFile(const QString &path, QJsonObject &object, bool *isObject = nullptr)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QByteArray content = file.readAll();
    // A hand-edited file may have been saved with a byte-order mark; the parser refuses it.
    if (content.startsWith("\xEF\xBB\xBF"))
        content.remove(0, 3);
    const QJsonDocument document = QJsonDocument::fromJson(content);
    object = document.isObject() ? document.object() : QJsonObject();
    if (isObject)
        *isObject = document.isObject();
    return true;
}

// Writes the object indented, as UTF-8, through a temporary file that replaces the old one only
// once everything has been written: a crash or a full disk leaves the previous file intact.
bool WriteObjectFile(const QString &path, const QJsonObject &object)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray content = QJsonDocument(object).toJson(QJsonDocument::Indented);
    if (file.write(content) != content.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

// The settings folder, created with its missing parents when needed; empty when there is no
// usable folder (no location, or something that is not a folder in the way).
QString EnsureFolder(const QString &folder)
{
    if (folder.isEmpty())
        return QString();
    if (QFileInfo(folder).isDir())
        return folder;
    return QDir().mkpath(folder) && QFileInfo(folder).isDir() ? folder : QString();
}

QString FileIn(const QString &folder, const QString &name)
{
    return folder + QDir::separator() + name;
}

QJsonArray StringArraySkippingEmpty(const QStringList &list)
{
    QJsonArray array;
    for (const QString &entry : list) {
        if (!entry.isEmpty())
            array.append(entry);
    }
    return array;
}

} // namespace

const QString &SettingsStore::SettingsFolderName()
{
    static const QString name = QStringLiteral("Lumeno Dravik for Desktop");
    return name;
}

const QString &SettingsStore::GeneralSettingsFileName()
{
    static const QString name = QStringLiteral("GeneralSettings.json");
    return name;
}

const QString &SettingsStore::PageSettingsFileName()
{
    static const QString name = QStringLiteral("PageSettings.json");
    return name;
}

const QString &SettingsStore::RecentFoldersFileName()
{
    static const QString name = QStringLiteral("folderrecent.json");
    return name;
}

QString SettingsStore::SettingsFolderFor(const QString &dataLocation, QChar separator)
{
    if (dataLocation.isEmpty())
        return QString();
    QString folder = dataLocation;
    if (!folder.endsWith(QLatin1Char('/')) && !folder.endsWith(QLatin1Char('\\')))
        folder += separator;
    folder += SettingsFolderName();
    ChangePathDelimiter(folder, PathSyntax{separator, nullptr});
    return folder;
}

QString SettingsStore::GetSettingsFolder() const
{
    QString location = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    // A relative location would put the settings wherever the program happens to be started
    // from; treat it as no location at all.
    if (!location.isEmpty() && QDir::isRelativePath(location))
        location.clear();
    return SettingsFolderFor(location, QDir::separator());
}

bool SettingsStore::ReadGeneralSettings(GeneralSettingsRecord &record) const
{
    const QString folder = GetSettingsFolder();
    if (folder.isEmpty())
        return false;
    QJsonObject object;
    if (!ReadObjectFile(FileIn(folder, GeneralSettingsFileName()), object))
        return false;

    const GeneralSettingsRecord defaults;
    record.lumenoDarkStyle = JsonValues::BoolOr(object, kDarkStyleKey, defaults.lumenoDarkStyle);
    for (const auto &field : kGeneralInt32Fields)
        record.*field.member = JsonValues::Int32Or(object, field.key, defaults.*field.member);
    for (const auto &field : kGeneralBoolFields)
        record.*field.member = JsonValues::BoolOr(object, field.key, defaults.*field.member);

    if (!record.isMovedRecent) {
        MoveRecentFromPageSettings(record.lastSelectTab);
        record.isMovedRecent = true;
        WriteGeneralSettings(record);
    }
    return true;
}

bool SettingsStore::WriteGeneralSettings(const GeneralSettingsRecord &record) const
{
    const QString folder = EnsureFolder(GetSettingsFolder());
    if (folder.isEmpty())
        return false;
    const QString path = FileIn(folder, GeneralSettingsFileName());

    // The theme flag in the file belongs to WriteDarkStyle; the record's own flag is not used.
    bool dark = true;
    QJsonObject previous;
    if (ReadObjectFile(path, previous))
        dark = JsonValues::BoolOr(previous, kDarkStyleKey, dark);

    QJsonObject object;
    object.insert(kDarkStyleKey, dark);
    for (const auto &field : kGeneralInt32Fields)
        object.insert(field.key, int(record.*field.member));
    for (const auto &field : kGeneralBoolFields)
        object.insert(field.key, record.*field.member);
    return WriteObjectFile(path, object);
}

bool SettingsStore::WriteDarkStyle(bool dark) const
{
    const QString folder = EnsureFolder(GetSettingsFolder());
    if (folder.isEmpty())
        return false;
    QJsonObject object;
    object.insert(kDarkStyleKey, dark);
    return WriteObjectFile(FileIn(folder, GeneralSettingsFileName()), object);
}

bool SettingsStore::ReadPageSettings(QList<PageSettingsRecord> &pages) const
{
    const QString folder = GetSettingsFolder();
    if (folder.isEmpty())
        return false;

    const qsizetype countBefore = pages.size();
    QJsonObject object;
    if (QFileInfo(folder).isDir() && ReadObjectFile(FileIn(folder, PageSettingsFileName()), object)) {
        const QJsonArray array = object.value(kAllObjectKey).toArray();
        const qsizetype count = qMin<qsizetype>(array.size(), PageLimits::kMaxPages);
        for (qsizetype i = 0; i < count; ++i) {
            PageSettingsRecord record;
            ReadPageJson(record, array.at(i).toObject());
            ValidatePageData(record);
            pages.append(record);
        }
    }

    if (pages.size() == countBefore) {
        for (int number = 1; number <= 3; ++number) {
            PageSettingsRecord record;
            record.tabName = QStringLiteral("page%1").arg(number);
            pages.append(record);
        }
    }
    return true;
}

bool SettingsStore::WritePageSettings(const QList<PageSettingsRecord> &pages) const
{
    const QString folder = EnsureFolder(GetSettingsFolder());
    if (folder.isEmpty())
        return false;
    QJsonArray array;
    for (const PageSettingsRecord &page : pages) {
        if (array.size() >= PageLimits::kMaxPages)
            break;
        QJsonObject pageObject;
        WritePageJson(page, pageObject);
        array.append(pageObject);
    }
    QJsonObject object;
    object.insert(kAllObjectKey, array);
    return WriteObjectFile(FileIn(folder, PageSettingsFileName()), object);
}

bool SettingsStore::ReadRecentFolders(RecentFolders &lists) const
{
    const QString folder = GetSettingsFolder();
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return false;
    QJsonObject object;
    if (!ReadObjectFile(FileIn(folder, RecentFoldersFileName()), object))
        return false;
    lists.inputHistory =
        JsonValues::StringListPrefix(object, kInputHistoryKey, RecentLimits::kMaxEntries);
    lists.outputHistory =
        JsonValues::StringListPrefix(object, kOutputHistoryKey, RecentLimits::kMaxEntries);
    lists.stampHistory =
        JsonValues::StringListPrefix(object, kStampHistoryKey, RecentLimits::kMaxEntries);
    return true;
}

bool SettingsStore::WriteRecentFolders(const RecentFolders &lists) const
{
    const QString folder = EnsureFolder(GetSettingsFolder());
    if (folder.isEmpty())
        return false;
    QJsonObject object;
    object.insert(kInputHistoryKey, StringArraySkippingEmpty(lists.inputHistory));
    object.insert(kOutputHistoryKey, StringArraySkippingEmpty(lists.outputHistory));
    object.insert(kStampHistoryKey, StringArraySkippingEmpty(lists.stampHistory));
    return WriteObjectFile(FileIn(folder, RecentFoldersFileName()), object);
}

bool SettingsStore::MoveRecentFromPageSettings(int lastSelectTab) const
{
    const OperationMarker marker("MoveRecentFromPageSettings");
    const QString folder = GetSettingsFolder();
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        return false;
    QJsonObject object;
    if (!ReadObjectFile(FileIn(folder, PageSettingsFileName()), object))
        return false;
    const QJsonArray array = object.value(kAllObjectKey).toArray();
    if (array.isEmpty())
        return true;

    const qsizetype index = (lastSelectTab >= 0 && lastSelectTab < array.size()) ? lastSelectTab : 0;
    const QJsonObject page = array.at(index).toObject();
    // Pages written by this version carry no history keys; writing empty lists for them would
    // wipe the histories that the history file already holds.
    if (!page.value(kInputHistoryKey).isArray() && !page.value(kOutputHistoryKey).isArray())
        return true;

    RecentFolders lists;
    lists.inputHistory =
        JsonValues::StringListPrefix(page, kInputHistoryKey, RecentLimits::kMaxEntries);
    lists.outputHistory =
        JsonValues::StringListPrefix(page, kOutputHistoryKey, RecentLimits::kMaxEntries);
    WriteRecentFolders(lists);
    return true;
}

bool SettingsStore::WritePageFile(const PageSettingsRecord &record, const QString &path) const
{
    if (path.isEmpty())
        return false;
    qDebug().noquote() << "WritePageFile :" << path;
    QJsonObject object;
    WritePageJson(record, object);
    return WriteObjectFile(path, object);
}

SettingsStore::PageFileRead SettingsStore::ReadPageFile(PageSettingsRecord &record,
                                                       const QString &path) const
{
    if (path.isEmpty())
        return PageFileRead::CannotOpen;
    QJsonObject object;
    bool isObject = false;
    if (!ReadObjectFile(path, object, &isObject))
        return PageFileRead::CannotOpen;
    if (!isObject)
        return PageFileRead::NotAPageFile;
    ReadPageJson(record, object);
    ValidatePageData(record);
    return PageFileRead::Read;
}
