// The settings folder and its three files, the history move and the preset files. Every test
// points the store at a fresh temporary data location, never at the user's own settings.

#include "settings/recentfolders.h"
#include "settings/settingsstore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QScopedPointer>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray ReadBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QJsonObject ReadObject(const QString &path)
{
    return QJsonDocument::fromJson(ReadBytes(path)).object();
}

bool WriteBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool WriteObject(const QString &path, const QJsonObject &object)
{
    return WriteBytes(path, QJsonDocument(object).toJson());
}

QJsonArray Numbered(const QString &prefix, int count)
{
    QJsonArray array;
    for (int i = 0; i < count; ++i)
        array.append(prefix + QString::number(i));
    return array;
}

QStringList NumberedList(const QString &prefix, int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(prefix + QString::number(i));
    return list;
}

QJsonObject PageObject(const QString &name)
{
    PageSettingsRecord record;
    record.tabName = name;
    QJsonObject object;
    SettingsStore::WritePageJson(record, object);
    return object;
}

} // namespace

class TestSettingsStore : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void settingsFolderFollowsThePathSyntax();
    void firstStartReadsDefaultsAndWritesNothing();
    void filesRoundTripInTheirStoredForm();
    void pageFileKeepsAtMostTenPages();
    void damagedFilesReadAsDefaults();
    void generalSettingsTypeRulesAndMove();
    void darkFlagChangesOnlyThroughWriteDarkStyle();
    void historyFileRules();
    void historyMoveFromOldPages();
    void historyMoveNeverWipesExistingHistories();
    void folderThatIsAFileFailsEveryWrite();
    void presetFiles();
    void addRecentKeepsMostRecentFirstWithoutCaseDuplicates();

private:
    QString FilePath(const QString &name) const { return m_folder + QLatin1Char('/') + name; }
    QString m_folder; // the settings folder inside the temporary data location
    QScopedPointer<QTemporaryDir> m_data;
    QByteArray m_savedXdg;
};

void TestSettingsStore::init()
{
    m_savedXdg = qgetenv("XDG_DATA_HOME");
    m_data.reset(new QTemporaryDir);
    QVERIFY(m_data->isValid());
    qputenv("XDG_DATA_HOME", QFile::encodeName(m_data->path()));
    m_folder = m_data->path() + QStringLiteral("/Lumeno Dravik for Desktop");
    QCOMPARE(SettingsStore().GetSettingsFolder(), QDir::toNativeSeparators(m_folder));
}

void TestSettingsStore::cleanup()
{
    m_data.reset();
    if (m_savedXdg.isNull())
        qunsetenv("XDG_DATA_HOME");
    else
        qputenv("XDG_DATA_HOME", m_savedXdg);
}

void TestSettingsStore::settingsFolderFollowsThePathSyntax()
{
    QCOMPARE(SettingsStore::SettingsFolderFor(QStringLiteral("C:/Users/me/AppData/Local"), QLatin1Char('\\')),
             QStringLiteral("C:\\Users\\me\\AppData\\Local\\Lumeno Dravik for Desktop"));
    QCOMPARE(SettingsStore::SettingsFolderFor(QStringLiteral("C:\\Users\\me\\AppData\\Local\\"), QLatin1Char('\\')),
             QStringLiteral("C:\\Users\\me\\AppData\\Local\\Lumeno Dravik for Desktop"));
    QCOMPARE(SettingsStore::SettingsFolderFor(QStringLiteral("/home/me/.local/share"), QLatin1Char('/')),
             QStringLiteral("/home/me/.local/share/Lumeno Dravik for Desktop"));
    QCOMPARE(SettingsStore::SettingsFolderFor(QStringLiteral("/home\\me/data"), QLatin1Char('/')),
             QStringLiteral("/home/me/data/Lumeno Dravik for Desktop"));
    QCOMPARE(SettingsStore::SettingsFolderFor(QString(), QLatin1Char('\\')), QString());

    // A relative data location must not put the settings below the working folder.
    const QByteArray savedHome = qgetenv("HOME");
    const QString home = m_data->path() + QStringLiteral("/home");
    qputenv("HOME", QFile::encodeName(home));
    qputenv("XDG_DATA_HOME", "relative/data");
    const QString folder = SettingsStore().GetSettingsFolder();
    const bool written = SettingsStore().WriteDarkStyle(true);
    qputenv("HOME", savedHome);
    QVERIFY2(folder.isEmpty() || (QDir::isAbsolutePath(folder) && folder.startsWith(home)),
             qPrintable(folder));
    QCOMPARE(written, !folder.isEmpty());
    QVERIFY(!QFileInfo::exists(QStringLiteral("relative")));
}

void TestSettingsStore::firstStartReadsDefaultsAndWritesNothing()
{
    SettingsStore store;
    GeneralSettingsRecord general;
    general.windowPosX = 77;
    QVERIFY(!store.ReadGeneralSettings(general));
    QCOMPARE(general.windowPosX, 77); // untouched on failure

    QList<PageSettingsRecord> pages;
    QVERIFY(store.ReadPageSettings(pages));
    QCOMPARE(pages.size(), 3);
    for (int i = 0; i < 3; ++i) {
        PageSettingsRecord expected;
        expected.tabName = QStringLiteral("page%1").arg(i + 1);
        QVERIFY(pages.at(i) == expected);
    }

    RecentFolders lists;
    lists.inputHistory = {QStringLiteral("kept")};
    QVERIFY(!store.ReadRecentFolders(lists));
    QCOMPARE(lists.inputHistory, QStringList{QStringLiteral("kept")});
    QVERIFY(!store.MoveRecentFromPageSettings(0));

    QVERIFY(!QFileInfo::exists(m_folder)); // reading never creates anything
}

void TestSettingsStore::filesRoundTripInTheirStoredForm()
{
    // The location lies two levels below a folder that does not exist yet: writes create it.
    const QString deep = m_data->path() + QStringLiteral("/a/b");
    qputenv("XDG_DATA_HOME", QFile::encodeName(deep));
    m_folder = deep + QStringLiteral("/Lumeno Dravik for Desktop");
    SettingsStore store;

    GeneralSettingsRecord general;
    general.windowPosX = -1200;
    general.windowPosY = 35;
    general.lastSelectTab = 2;
    general.isDetailedOpen = true;
    general.batchMode = true;
    general.isMovedRecent = true;
    QVERIFY(store.WriteGeneralSettings(general));

    PageSettingsRecord first;
    first.tabName = QStringLiteral("写真");
    first.generalInputDir = QStringLiteral("C:\\入力\\");
    first.resizeGroup = true;
    first.resizeWidth = 640;
    PageSettingsRecord second;
    second.tabName = QStringLiteral("two");
    second.checked = true;
    second.stampPosition = QStringLiteral("top");
    QVERIFY(store.WritePageSettings({first, second}));

    RecentFolders lists;
    lists.inputHistory = {QStringLiteral("C:\\in\\"), QStringLiteral("D:\\フォト\\")};
    lists.outputHistory = {QStringLiteral("E:\\out\\")};
    lists.stampHistory = {};
    QVERIFY(store.WriteRecentFolders(lists));

    // Nothing else is left behind, no temporary file either.
    QStringList entries = QDir(m_folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    entries.sort();
    QCOMPARE(entries, QStringList({"GeneralSettings.json", "PageSettings.json", "folderrecent.json"}));

    GeneralSettingsRecord generalBack;
    QVERIFY(store.ReadGeneralSettings(generalBack));
    QVERIFY(generalBack == general); // the dark flag defaults to true when the file had none

    QList<PageSettingsRecord> pagesBack;
    QVERIFY(store.ReadPageSettings(pagesBack));
    QCOMPARE(pagesBack.size(), 2);
    QVERIFY(pagesBack.at(0) == first);
    QVERIFY(pagesBack.at(1) == second);

    RecentFolders listsBack;
    listsBack.stampHistory = {QStringLiteral("replaced")};
    QVERIFY(store.ReadRecentFolders(listsBack));
    QVERIFY(listsBack == lists);

    // Stored form: UTF-8 without byte-order mark, indented by four spaces, one object on top,
    // non-ASCII text as plain UTF-8.
    const QByteArray pageBytes = ReadBytes(FilePath("PageSettings.json"));
    QVERIFY(!pageBytes.startsWith("\xEF\xBB\xBF"));
    QVERIFY(pageBytes.startsWith("{\n    \"allObject\": ["));
    QVERIFY(pageBytes.contains(QStringLiteral("写真").toUtf8()));
    const QJsonObject pageFile = ReadObject(FilePath("PageSettings.json"));
    QCOMPARE(pageFile.keys(), QStringList{"allObject"});
    QCOMPARE(pageFile.value("allObject").toArray().at(0).toObject().size(), 36);
    const QJsonObject generalFile = ReadObject(FilePath("GeneralSettings.json"));
    QCOMPARE(generalFile.size(), 7);
    QCOMPARE(generalFile.value("windowPosX"), QJsonValue(-1200));
    QCOMPARE(generalFile.value("lumenoDarkStyle"), QJsonValue(true));
    QCOMPARE(ReadObject(FilePath("folderrecent.json")).value("stampHistory"), QJsonValue(QJsonArray()));

    // A later write replaces the whole content.
    QVERIFY(store.WritePageSettings({second}));
    pagesBack.clear();
    QVERIFY(store.ReadPageSettings(pagesBack));
    QCOMPARE(pagesBack.size(), 1);
    QVERIFY(pagesBack.at(0) == second);
}

void TestSettingsStore::pageFileKeepsAtMostTenPages()
{
    SettingsStore store;
    QVERIFY(QDir().mkpath(m_folder));
    QJsonArray twelve;
    for (int i = 0; i < 12; ++i)
        twelve.append(PageObject(QStringLiteral("p%1").arg(i)));
    QVERIFY(WriteObject(FilePath("PageSettings.json"), QJsonObject{{"allObject", twelve}}));

    QList<PageSettingsRecord> pages;
    QVERIFY(store.ReadPageSettings(pages));
    QCOMPARE(pages.size(), 10);
    for (int i = 0; i < 10; ++i)
        QCOMPARE(pages.at(i).tabName, QStringLiteral("p%1").arg(i));

    QList<PageSettingsRecord> records;
    for (int i = 0; i < 12; ++i) {
        PageSettingsRecord r;
        r.tabName = QStringLiteral("w%1").arg(i);
        records.append(r);
    }
    QVERIFY(store.WritePageSettings(records));
    const QJsonArray stored = ReadObject(FilePath("PageSettings.json")).value("allObject").toArray();
    QCOMPARE(stored.size(), 10);
    QCOMPARE(stored.at(9).toObject().value("tabName").toString(), QStringLiteral("w9"));

    // Every stored page goes through the validation; an element that is not an object is a
    // default page.
    QJsonObject outOfRange = PageObject(QStringLiteral("x"));
    outOfRange.insert("resizeWidth", 0);
    outOfRange.insert("generalOutputFormat", 9);
    QVERIFY(WriteObject(FilePath("PageSettings.json"),
                        QJsonObject{{"allObject", QJsonArray{outOfRange, 5, "text"}}}));
    pages.clear();
    QVERIFY(store.ReadPageSettings(pages));
    QCOMPARE(pages.size(), 3);
    QCOMPARE(pages.at(0).resizeWidth, 1000);
    QCOMPARE(pages.at(0).generalOutputFormat, 1);
    QVERIFY(pages.at(1) == PageSettingsRecord());
    QVERIFY(pages.at(2) == PageSettingsRecord());
}

void TestSettingsStore::damagedFilesReadAsDefaults()
{
    SettingsStore store;
    PageSettingsRecord named;
    named.tabName = QStringLiteral("mine");
    QVERIFY(store.WritePageSettings({named, named}));

    const QByteArray whole = ReadBytes(FilePath("PageSettings.json"));
    const QList<QByteArray> damaged = {
        whole.left(whole.size() / 2),                 // half-written
        QByteArray(),                                 // empty
        QByteArray("\x89PNG\r\n\x1a\n\0\0\0", 11),   // not text at all
        QByteArray("[{\"tabName\": \"x\"}]"),         // top level not an object
        QByteArray("{\"allObject\": {\"tabName\": \"x\"}}"), // allObject not an array
        QByteArray("{\"allObject\": []}"),            // no pages
    };
    for (const QByteArray &content : damaged) {
        QVERIFY(WriteBytes(FilePath("PageSettings.json"), content));
        QList<PageSettingsRecord> pages;
        QVERIFY(store.ReadPageSettings(pages));
        QCOMPARE(pages.size(), 3);
        QCOMPARE(pages.at(0).tabName, QStringLiteral("page1"));
        QCOMPARE(pages.at(2).tabName, QStringLiteral("page3"));
    }

    // A byte-order mark written by an editor does not lose the pages.
    QVERIFY(WriteBytes(FilePath("PageSettings.json"), "\xEF\xBB\xBF" + whole));
    QList<PageSettingsRecord> pages;
    QVERIFY(store.ReadPageSettings(pages));
    QCOMPARE(pages.size(), 2);
    QCOMPARE(pages.at(1).tabName, QStringLiteral("mine"));

    // Damaged history file: readable, so true, with empty lists.
    QVERIFY(WriteBytes(FilePath("folderrecent.json"), "{\"inputHistory\": [\"C:\\\\a\""));
    RecentFolders lists;
    lists.outputHistory = {QStringLiteral("old")};
    QVERIFY(store.ReadRecentFolders(lists));
    QVERIFY(lists == RecentFolders());

    // Damaged general settings: every key takes its default, then the move runs and the
    // file is rewritten whole.
    QVERIFY(WriteBytes(FilePath("GeneralSettings.json"), "{\"windowPosX\": 5,"));
    GeneralSettingsRecord general;
    general.windowPosX = 99;
    general.lumenoDarkStyle = false;
    QVERIFY(store.ReadGeneralSettings(general));
    QCOMPARE(general.windowPosX, 0);
    QCOMPARE(general.lumenoDarkStyle, true);
    QCOMPARE(general.isMovedRecent, true);
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")).size(), 7);
}

void TestSettingsStore::generalSettingsTypeRulesAndMove()
{
    SettingsStore store;
    QVERIFY(QDir().mkpath(m_folder));

    // Only the dark flag: everything else default, and the move runs once.
    QVERIFY(WriteObject(FilePath("GeneralSettings.json"), QJsonObject{{"lumenoDarkStyle", false}}));
    GeneralSettingsRecord general;
    general.lastSelectTab = 4;
    general.isDetailedOpen = true;
    QVERIFY(store.ReadGeneralSettings(general));
    GeneralSettingsRecord expected;
    expected.lumenoDarkStyle = false;
    expected.isMovedRecent = true;
    QVERIFY(general == expected);
    QJsonObject file = ReadObject(FilePath("GeneralSettings.json"));
    QCOMPARE(file.size(), 7);
    QCOMPARE(file.value("isMovedRecent"), QJsonValue(true));
    QCOMPARE(file.value("lumenoDarkStyle"), QJsonValue(false));
    QCOMPARE(file.value("windowPosX"), QJsonValue(0));

    // Wrong JSON types give the defaults, a stored flag of true stops the move.
    QVERIFY(WriteObject(FilePath("GeneralSettings.json"),
                        QJsonObject{{"lumenoDarkStyle", "false"}, {"windowPosX", "100"},
                                    {"windowPosY", 12.5}, {"lastSelectTab", 3},
                                    {"isDetailedOpen", 1}, {"batchMode", true},
                                    {"isMovedRecent", true}}));
    const QByteArray before = ReadBytes(FilePath("GeneralSettings.json"));
    GeneralSettingsRecord typed;
    QVERIFY(store.ReadGeneralSettings(typed));
    QCOMPARE(typed.lumenoDarkStyle, true);
    QCOMPARE(typed.windowPosX, 0);
    QCOMPARE(typed.windowPosY, 0);
    QCOMPARE(typed.lastSelectTab, 3);
    QCOMPARE(typed.isDetailedOpen, false);
    QCOMPARE(typed.batchMode, true);
    QCOMPARE(ReadBytes(FilePath("GeneralSettings.json")), before); // no rewrite without a move
}

void TestSettingsStore::darkFlagChangesOnlyThroughWriteDarkStyle()
{
    SettingsStore store;
    GeneralSettingsRecord light;
    light.lumenoDarkStyle = false;
    light.windowPosX = 10;
    light.isMovedRecent = true;

    // No file: true is written whatever the record says.
    QVERIFY(store.WriteGeneralSettings(light));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")).value("lumenoDarkStyle"), QJsonValue(true));
    // File says true: still true.
    QVERIFY(store.WriteGeneralSettings(light));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")).value("lumenoDarkStyle"), QJsonValue(true));

    // The theme switch leaves exactly one member ...
    QVERIFY(store.WriteDarkStyle(false));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")),
             QJsonObject({{"lumenoDarkStyle", false}}));
    // ... and the next full write restores the other six and keeps false, even from a record
    // that says true.
    GeneralSettingsRecord dark = light;
    dark.lumenoDarkStyle = true;
    dark.windowPosY = 20;
    dark.lastSelectTab = 1;
    QVERIFY(store.WriteGeneralSettings(dark));
    const QJsonObject file = ReadObject(FilePath("GeneralSettings.json"));
    QCOMPARE(file.size(), 7);
    QCOMPARE(file.value("lumenoDarkStyle"), QJsonValue(false));
    QCOMPARE(file.value("windowPosX"), QJsonValue(10));
    QCOMPARE(file.value("windowPosY"), QJsonValue(20));
    QCOMPARE(file.value("lastSelectTab"), QJsonValue(1));
    QCOMPARE(file.value("isMovedRecent"), QJsonValue(true));

    QVERIFY(store.WriteDarkStyle(true));
    QVERIFY(store.WriteGeneralSettings(light));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")).value("lumenoDarkStyle"), QJsonValue(true));

    // WriteDarkStyle creates a missing folder like the other writes.
    QVERIFY(QDir(m_folder).removeRecursively());
    QVERIFY(store.WriteDarkStyle(false));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")), QJsonObject({{"lumenoDarkStyle", false}}));
}

void TestSettingsStore::historyFileRules()
{
    SettingsStore store;
    QVERIFY(QDir().mkpath(m_folder));

    // 25 input entries give the first 20; the lists are read independently; a non-string
    // element is an empty entry; no de-duplication happens on reading.
    QJsonArray input = Numbered(QStringLiteral("in"), 25);
    QJsonArray output{"o", 3, "O", "o"};
    QVERIFY(WriteObject(FilePath("folderrecent.json"),
                        QJsonObject{{"inputHistory", input}, {"outputHistory", output},
                                    {"stampHistory", "not an array"}}));
    RecentFolders lists;
    lists.stampHistory = {QStringLiteral("old")};
    QVERIFY(store.ReadRecentFolders(lists));
    QCOMPARE(lists.inputHistory, NumberedList(QStringLiteral("in"), 20));
    QCOMPARE(lists.outputHistory, QStringList({"o", "", "O", "o"}));
    QVERIFY(lists.stampHistory.isEmpty());

    // Only a stamp history.
    QVERIFY(WriteObject(FilePath("folderrecent.json"),
                        QJsonObject{{"stampHistory", QJsonArray{"C:\\logo.png"}}}));
    QVERIFY(store.ReadRecentFolders(lists));
    QVERIFY(lists.inputHistory.isEmpty() && lists.outputHistory.isEmpty());
    QCOMPARE(lists.stampHistory, QStringList{"C:\\logo.png"});

    // Writing drops empty strings and has no count limit.
    RecentFolders toWrite;
    toWrite.inputHistory = QStringList{"", "a", ""} + NumberedList(QStringLiteral("x"), 24);
    toWrite.stampHistory = {""};
    QVERIFY(store.WriteRecentFolders(toWrite));
    const QJsonObject file = ReadObject(FilePath("folderrecent.json"));
    QCOMPARE(file.size(), 3);
    QCOMPARE(file.value("inputHistory").toArray().size(), 25);
    QCOMPARE(file.value("inputHistory").toArray().at(0), QJsonValue("a"));
    QCOMPARE(file.value("outputHistory"), QJsonValue(QJsonArray()));
    QCOMPARE(file.value("stampHistory"), QJsonValue(QJsonArray()));
}

void TestSettingsStore::historyMoveFromOldPages()
{
    SettingsStore store;
    QVERIFY(QDir().mkpath(m_folder));
    QJsonObject pageA = PageObject(QStringLiteral("A"));
    pageA.insert("inputHistory", Numbered(QStringLiteral("a-in"), 30));
    pageA.insert("outputHistory", Numbered(QStringLiteral("a-out"), 2));
    QJsonObject pageB = PageObject(QStringLiteral("B"));
    pageB.insert("inputHistory", QJsonArray{"b-in"});
    pageB.insert("outputHistory", QJsonArray{"b-out", 7});
    QVERIFY(WriteObject(FilePath("PageSettings.json"), QJsonObject{{"allObject", QJsonArray{pageA, pageB}}}));

    struct Case { int lastSelectTab; QStringList input; QStringList output; };
    const Case cases[] = {
        {1, {"b-in"}, {"b-out", ""}},
        {3, NumberedList("a-in", 20), NumberedList("a-out", 2)},  // beyond the pages: first
        {-1, NumberedList("a-in", 20), NumberedList("a-out", 2)}, // negative: first
        {0, NumberedList("a-in", 20), NumberedList("a-out", 2)},
    };
    for (const Case &c : cases) {
        QFile::remove(FilePath("folderrecent.json"));
        QVERIFY(store.MoveRecentFromPageSettings(c.lastSelectTab));
        const QJsonObject file = ReadObject(FilePath("folderrecent.json"));
        // Written through the history writer, so the empty entry is gone.
        QStringList expectedOutput = c.output;
        expectedOutput.removeAll(QString());
        RecentFolders lists;
        QVERIFY(store.ReadRecentFolders(lists));
        QCOMPARE(lists.inputHistory, c.input);
        QCOMPARE(lists.outputHistory, expectedOutput);
        QVERIFY(lists.stampHistory.isEmpty());
        QCOMPARE(file.value("stampHistory"), QJsonValue(QJsonArray()));
    }

    // Through the general settings: the move happens at the first read with the flag false,
    // and never again.
    QVERIFY(WriteObject(FilePath("GeneralSettings.json"), QJsonObject{{"lastSelectTab", 1}}));
    QFile::remove(FilePath("folderrecent.json"));
    GeneralSettingsRecord general;
    QVERIFY(store.ReadGeneralSettings(general));
    QVERIFY(general.isMovedRecent);
    RecentFolders lists;
    QVERIFY(store.ReadRecentFolders(lists));
    QCOMPARE(lists.inputHistory, QStringList{"b-in"});

    RecentFolders grown;
    grown.inputHistory = {QStringLiteral("new")};
    QVERIFY(store.WriteRecentFolders(grown));
    QVERIFY(store.ReadGeneralSettings(general));
    QVERIFY(store.ReadRecentFolders(lists));
    QCOMPARE(lists.inputHistory, QStringList{"new"});

    // The next page write drops the old keys from the pages.
    QList<PageSettingsRecord> pages;
    QVERIFY(store.ReadPageSettings(pages));
    QVERIFY(store.WritePageSettings(pages));
    const QJsonObject stored = ReadObject(FilePath("PageSettings.json"))
                                   .value("allObject").toArray().at(0).toObject();
    QVERIFY(!stored.contains("inputHistory") && !stored.contains("outputHistory"));
}

void TestSettingsStore::historyMoveNeverWipesExistingHistories()
{
    SettingsStore store;
    RecentFolders existing;
    existing.inputHistory = {QStringLiteral("C:\\keep\\")};
    existing.stampHistory = {QStringLiteral("C:\\logo.png")};
    QVERIFY(store.WriteRecentFolders(existing));
    const QByteArray before = ReadBytes(FilePath("folderrecent.json"));

    // Pages written by this version carry no old keys; a general settings file left with the
    // flag false makes the next start run the move on them.
    PageSettingsRecord page;
    page.tabName = QStringLiteral("p");
    QVERIFY(store.WritePageSettings({page, page}));
    GeneralSettingsRecord unmoved;
    QVERIFY(store.WriteGeneralSettings(unmoved));
    GeneralSettingsRecord general;
    QVERIFY(store.ReadGeneralSettings(general));
    QVERIFY(general.isMovedRecent);
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);

    // Old keys on another page than the chosen one do not count either.
    QJsonObject withOld = PageObject(QStringLiteral("old"));
    withOld.insert("inputHistory", QJsonArray{"C:\\older\\"});
    QVERIFY(WriteObject(FilePath("PageSettings.json"),
                        QJsonObject{{"allObject", QJsonArray{PageObject("p"), withOld}}}));
    QVERIFY(store.MoveRecentFromPageSettings(0));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);

    // An old key that holds no array carries no history to move.
    QJsonObject broken = PageObject(QStringLiteral("broken"));
    broken.insert("inputHistory", "C:\\older\\");
    broken.insert("outputHistory", QJsonValue::Null);
    QVERIFY(WriteObject(FilePath("PageSettings.json"), QJsonObject{{"allObject", QJsonArray{broken}}}));
    QVERIFY(store.MoveRecentFromPageSettings(0));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);

    // An empty page list: true, nothing written, and the flag is still stored.
    QVERIFY(WriteObject(FilePath("PageSettings.json"), QJsonObject{{"allObject", QJsonArray()}}));
    QVERIFY(store.MoveRecentFromPageSettings(0));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);
    QVERIFY(WriteObject(FilePath("GeneralSettings.json"), QJsonObject{{"isMovedRecent", false}}));
    QVERIFY(store.ReadGeneralSettings(general));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")).value("isMovedRecent"), QJsonValue(true));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);

    // No page file at all: the move fails, the flag is stored anyway.
    QVERIFY(QFile::remove(FilePath("PageSettings.json")));
    QVERIFY(!store.MoveRecentFromPageSettings(0));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);
}

void TestSettingsStore::folderThatIsAFileFailsEveryWrite()
{
    QVERIFY(WriteBytes(m_folder, "not a folder"));
    SettingsStore store;

    GeneralSettingsRecord general;
    QVERIFY(!store.WriteGeneralSettings(general));
    QVERIFY(!store.WriteDarkStyle(false));
    QVERIFY(!store.WritePageSettings({PageSettingsRecord()}));
    QVERIFY(!store.WriteRecentFolders(RecentFolders()));

    general.windowPosX = 5;
    QVERIFY(!store.ReadGeneralSettings(general));
    QCOMPARE(general.windowPosX, 5);
    QList<PageSettingsRecord> pages;
    QVERIFY(store.ReadPageSettings(pages));
    QCOMPARE(pages.size(), 3);
    RecentFolders lists;
    QVERIFY(!store.ReadRecentFolders(lists));
    QVERIFY(!store.MoveRecentFromPageSettings(0));

    QCOMPARE(ReadBytes(m_folder), QByteArray("not a folder"));
    QVERIFY(QFileInfo(m_folder).isFile());

    // A settings file that is itself a folder fails its own write and leaves the others alone.
    QVERIFY(QFile::remove(m_folder));
    QVERIFY(store.WriteRecentFolders(RecentFolders()));
    const QByteArray recent = ReadBytes(FilePath("folderrecent.json"));
    QVERIFY(QDir().mkpath(FilePath("PageSettings.json")));
    QVERIFY(!store.WritePageSettings({PageSettingsRecord()}));
    QVERIFY(QFileInfo(FilePath("PageSettings.json")).isDir());
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), recent);
    QCOMPARE(QDir(m_folder).entryList(QDir::Files | QDir::Hidden), QStringList{"folderrecent.json"});
}

void TestSettingsStore::presetFiles()
{
    SettingsStore store;
    const QString preset = m_data->path() + QStringLiteral("/mine.dkpage");

    PageSettingsRecord record;
    record.tabName = QStringLiteral("page1");
    record.checked = true;
    record.stampGroup = true;
    record.stampOffsetX = -40;
    record.stampPosition = QStringLiteral("bottomleft");
    QVERIFY(store.WritePageFile(record, preset));
    QCOMPARE(ReadObject(preset).size(), 36);
    using Read = SettingsStore::PageFileRead;
    PageSettingsRecord back;
    back.tabName = QStringLiteral("other");
    QCOMPARE(store.ReadPageFile(back, preset), Read::Read);
    QVERIFY(back == record);

    // No path, a file that cannot be opened, or content that is no page object: the record is
    // untouched, and only the last is told apart (the import says so; the others end quietly).
    QVERIFY(!store.WritePageFile(record, QString()));
    QVERIFY(!store.WritePageFile(record, m_data->path() + QStringLiteral("/no/such/folder/x.dkpage")));
    const struct { QString path; QByteArray content; Read expected; } refused[] = {
        {QString(), {}, Read::CannotOpen},
        {m_data->path() + QStringLiteral("/missing.dkpage"), {}, Read::CannotOpen},
        {preset, QByteArray("\xFF\xD8\xFF\xE0\0\x10JFIF\0", 11), Read::NotAPageFile},
        {preset, QByteArray("{\"tabName\": \"half"), Read::NotAPageFile},
        {preset, QByteArray("[{\"tabName\": \"x\"}]"), Read::NotAPageFile},
        {preset, QByteArray("\"page\""), Read::NotAPageFile},
    };
    for (const auto &entry : refused) {
        if (!entry.content.isEmpty())
            QVERIFY(WriteBytes(entry.path, entry.content));
        QCOMPARE(store.ReadPageFile(back, entry.path), entry.expected);
        QVERIFY(back == record);
    }

    // Hand-written values are validated.
    QVERIFY(WriteObject(preset, QJsonObject{{"resizeWidth", 0},
                                            {"tabName", QString(40, QLatin1Char('n'))}}));
    QCOMPARE(store.ReadPageFile(back, preset), Read::Read);
    QCOMPARE(back.resizeWidth, 1000);
    QCOMPARE(back.tabName, QString(32, QLatin1Char('n')));
}

void TestSettingsStore::addRecentKeepsMostRecentFirstWithoutCaseDuplicates()
{
    QStringList list;
    AddRecent(list, QStringLiteral("C:\\A\\"));
    AddRecent(list, QStringLiteral("C:\\B\\"));
    AddRecent(list, QString()); // never added
    QCOMPARE(list, QStringList({"C:\\B\\", "C:\\A\\"}));

    // Re-adding in another case moves it to the front once, in the new spelling.
    list.append(QStringLiteral("c:\\a\\")); // a duplicate that came from a hand-edited file
    AddRecent(list, QStringLiteral("C:\\a\\"));
    QCOMPARE(list, QStringList({"C:\\a\\", "C:\\B\\"}));
    AddRecent(list, QStringLiteral("D:\\Ä\\"));
    AddRecent(list, QStringLiteral("d:\\ä\\"));
    QCOMPARE(list, QStringList({"d:\\ä\\", "C:\\a\\", "C:\\B\\"}));

    // At most 20: the oldest entries drop off the end.
    QStringList full;
    for (int i = 0; i < 25; ++i)
        AddRecent(full, QStringLiteral("p%1").arg(i));
    QCOMPARE(full.size(), 20);
    QCOMPARE(full.first(), QStringLiteral("p24"));
    QCOMPARE(full.last(), QStringLiteral("p5"));
    AddRecent(full, QStringLiteral("P10"));
    QCOMPARE(full.size(), 20);
    QCOMPARE(full.first(), QStringLiteral("P10"));
    QCOMPARE(full.filter(QRegularExpression(QStringLiteral("^p10$"), QRegularExpression::CaseInsensitiveOption)).size(), 1);
    QCOMPARE(full.last(), QStringLiteral("p5")); // nothing dropped: the duplicate made room

    QStringList small = {"a", "b", "c"};
    AddRecent(small, QStringLiteral("d"), 2);
    QCOMPARE(small, QStringList({"d", "a"}));
}

QTEST_APPLESS_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"
