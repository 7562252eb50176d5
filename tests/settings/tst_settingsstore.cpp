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

QStringList Numbered(const QString &prefix, int count)
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

    void settingsFolderFollowsThePathSyntax_data();
    void settingsFolderFollowsThePathSyntax();
    void firstStartReadsDefaultsAndWritesNothing();
    void filesRoundTripInTheirStoredForm();
    void damagedPageFilesReadAsDefaults_data();
    void damagedPageFilesReadAsDefaults();
    void generalSettingsTypesAndTheDarkFlag();
    void historiesAndTheirMoveFromOldPages();
    void failedWritesLeaveOtherFilesAlone();
    void presetFiles();
    void addRecent();

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

void TestSettingsStore::settingsFolderFollowsThePathSyntax_data()
{
    QTest::addColumn<QString>("location");
    QTest::addColumn<QChar>("separator");
    QTest::addColumn<QString>("folder");
    QTest::newRow("windows") << "C:/Users/me/AppData/Local" << QChar('\\')
                             << "C:\\Users\\me\\AppData\\Local\\Lumeno Dravik for Desktop";
    QTest::newRow("trailing") << "C:\\Users\\me\\" << QChar('\\') << "C:\\Users\\me\\Lumeno Dravik for Desktop";
    QTest::newRow("linux") << "/home\\me/data" << QChar('/') << "/home/me/data/Lumeno Dravik for Desktop";
    QTest::newRow("none") << QString() << QChar('\\') << QString();
}

void TestSettingsStore::settingsFolderFollowsThePathSyntax()
{
    QFETCH(QString, location);
    QFETCH(QChar, separator);
    QFETCH(QString, folder);
    QCOMPARE(SettingsStore::SettingsFolderFor(location, separator), folder);

    // A relative data location must not put the settings below the working folder.
    const QByteArray savedHome = qgetenv("HOME");
    const QString home = m_data->path() + QStringLiteral("/home");
    qputenv("HOME", QFile::encodeName(home));
    qputenv("XDG_DATA_HOME", "relative/data");
    const QString relative = SettingsStore().GetSettingsFolder();
    const bool written = SettingsStore().WriteDarkStyle(true);
    qputenv("HOME", savedHome);
    QVERIFY2(relative.isEmpty() || (QDir::isAbsolutePath(relative) && relative.startsWith(home)),
             qPrintable(relative));
    QCOMPARE(written, !relative.isEmpty());
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
    general.lastSelectTab = 2;
    general.batchMode = true;
    general.isMovedRecent = true;
    QVERIFY(store.WriteGeneralSettings(general));
    PageSettingsRecord first;
    first.tabName = QStringLiteral("写真");
    first.generalInputDir = QStringLiteral("C:\\入力\\");
    first.resizeWidth = 640;
    PageSettingsRecord second;
    second.tabName = QStringLiteral("two");
    second.stampPosition = QStringLiteral("top");
    QList<PageSettingsRecord> twelve{first, second};
    for (int i = 2; i < 12; ++i)
        twelve.append(PageSettingsRecord());
    QVERIFY(store.WritePageSettings(twelve));
    RecentFolders lists;
    lists.inputHistory = QStringList{"", QStringLiteral("D:\\フォト\\")} + Numbered("x", 24);
    lists.outputHistory = {QStringLiteral("E:\\out\\")};
    QVERIFY(store.WriteRecentFolders(lists));

    // Nothing else is left behind, no temporary file either.
    QStringList entries = QDir(m_folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden);
    entries.sort();
    QCOMPARE(entries, QStringList({"GeneralSettings.json", "PageSettings.json", "folderrecent.json"}));

    GeneralSettingsRecord generalBack;
    QVERIFY(store.ReadGeneralSettings(generalBack));
    QVERIFY(generalBack == general);
    QList<PageSettingsRecord> pagesBack;
    QVERIFY(store.ReadPageSettings(pagesBack));
    QCOMPARE(pagesBack.size(), 10); // at most ten pages are kept
    QVERIFY(pagesBack.at(0) == first);
    QVERIFY(pagesBack.at(1) == second);
    // Reading keeps the first 20 entries of a list; writing drops empty ones and has no limit.
    RecentFolders listsBack;
    listsBack.stampHistory = {QStringLiteral("replaced")};
    QVERIFY(store.ReadRecentFolders(listsBack));
    QCOMPARE(listsBack.inputHistory, lists.inputHistory.mid(1, 20));
    QCOMPARE(listsBack.outputHistory, lists.outputHistory);
    QVERIFY(listsBack.stampHistory.isEmpty());

    // Stored form: UTF-8 without byte-order mark, indented by four spaces, the keys as named.
    const QByteArray pageBytes = ReadBytes(FilePath("PageSettings.json"));
    QVERIFY(pageBytes.startsWith("{\n    \"allObject\": ["));
    QVERIFY(pageBytes.contains(QStringLiteral("写真").toUtf8()));
    QCOMPARE(ReadObject(FilePath("PageSettings.json")).value("allObject").toArray().at(0).toObject().size(), 36);
    const QJsonObject generalFile = ReadObject(FilePath("GeneralSettings.json"));
    QCOMPARE(generalFile.keys(), QStringList({"batchMode", "isDetailedOpen", "isMovedRecent", "lastSelectTab",
                                              "lumenoDarkStyle", "windowPosX", "windowPosY"}));
    QCOMPARE(generalFile.value("windowPosX"), QJsonValue(-1200));
    const QJsonObject recentFile = ReadObject(FilePath("folderrecent.json"));
    QCOMPARE(recentFile.keys(), QStringList({"inputHistory", "outputHistory", "stampHistory"}));
    QCOMPARE(recentFile.value("inputHistory").toArray().size(), 25);
    QCOMPARE(recentFile.value("stampHistory"), QJsonValue(QJsonArray()));
}

void TestSettingsStore::damagedPageFilesReadAsDefaults_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("pages");
    QTest::addColumn<QString>("firstName");
    QTest::newRow("empty") << QByteArray() << 3 << "page1";
    QTest::newRow("binary") << QByteArray("\x89PNG\r\n\x1a\n\0\0\0", 11) << 3 << "page1";
    QTest::newRow("array on top") << QByteArray("[{\"tabName\": \"x\"}]") << 3 << "page1";
    QTest::newRow("allObject no array") << QByteArray("{\"allObject\": {\"tabName\": \"x\"}}") << 3 << "page1";
    QTest::newRow("no pages") << QByteArray("{\"allObject\": []}") << 3 << "page1";
    QTest::newRow("half-written") << QByteArray("{\"allObject\": [{\"tabName\": \"mine\"}") << 3 << "page1";
    QTest::newRow("byte-order mark") << QByteArray("\xEF\xBB\xBF{\"allObject\": [{\"tabName\": \"mine\"}]}") << 1
                                     << "mine";
    // Every stored page is validated; an element that is not an object is a default page.
    QTest::newRow("bad elements") << QByteArray("{\"allObject\": [{\"tabName\": \"mine\", \"resizeWidth\": 0, "
                                                "\"generalOutputFormat\": 9}, 5, \"text\"]}") << 3 << "mine";
}

void TestSettingsStore::damagedPageFilesReadAsDefaults()
{
    QFETCH(QByteArray, content);
    QFETCH(int, pages);
    QFETCH(QString, firstName);
    QVERIFY(QDir().mkpath(m_folder));
    QVERIFY(WriteBytes(FilePath("PageSettings.json"), content));
    QList<PageSettingsRecord> read;
    QVERIFY(SettingsStore().ReadPageSettings(read));
    QCOMPARE(read.size(), pages);
    QCOMPARE(read.at(0).tabName, firstName);
    QCOMPARE(read.at(0).resizeWidth, 1000);
    QCOMPARE(read.at(0).generalOutputFormat, 1);
    if (firstName == QLatin1String("page1"))
        QCOMPARE(read.at(2).tabName, QStringLiteral("page3"));
    else if (pages == 3)
        QVERIFY(read.at(2) == PageSettingsRecord());
}

void TestSettingsStore::generalSettingsTypesAndTheDarkFlag()
{
    SettingsStore store;
    QVERIFY(QDir().mkpath(m_folder));
    // Damaged: every key takes its default, the move runs and the file is rewritten whole.
    QVERIFY(WriteBytes(FilePath("GeneralSettings.json"), "{\"windowPosX\": 5,"));
    GeneralSettingsRecord general;
    general.windowPosX = 99;
    general.lumenoDarkStyle = false;
    QVERIFY(store.ReadGeneralSettings(general));
    QCOMPARE(general.windowPosX, 0);
    QVERIFY(general.lumenoDarkStyle && general.isMovedRecent);
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")).size(), 7);

    // Wrong JSON types give the defaults; a stored move flag means no rewrite.
    QVERIFY(WriteObject(FilePath("GeneralSettings.json"),
                        QJsonObject{{"lumenoDarkStyle", "false"}, {"windowPosX", "100"}, {"windowPosY", 12.5},
                                    {"lastSelectTab", 3}, {"isDetailedOpen", 1}, {"isMovedRecent", true}}));
    const QByteArray before = ReadBytes(FilePath("GeneralSettings.json"));
    GeneralSettingsRecord typed;
    QVERIFY(store.ReadGeneralSettings(typed));
    QVERIFY(typed.lumenoDarkStyle && !typed.isDetailedOpen);
    QCOMPARE(typed.windowPosX, 0);
    QCOMPARE(typed.windowPosY, 0);
    QCOMPARE(typed.lastSelectTab, 3);
    QCOMPARE(ReadBytes(FilePath("GeneralSettings.json")), before);

    // The dark flag changes only through the theme switch, which leaves exactly one member;
    // the next full write restores the other six and keeps the flag, whatever the record says.
    GeneralSettingsRecord record;
    record.lumenoDarkStyle = false;
    record.windowPosX = 10;
    QVERIFY(QFile::remove(FilePath("GeneralSettings.json")));
    QVERIFY(store.WriteGeneralSettings(record));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")).value("lumenoDarkStyle"), QJsonValue(true));
    QVERIFY(store.WriteDarkStyle(false));
    QCOMPARE(ReadObject(FilePath("GeneralSettings.json")), QJsonObject({{"lumenoDarkStyle", false}}));
    record.lumenoDarkStyle = true;
    QVERIFY(store.WriteGeneralSettings(record));
    const QJsonObject file = ReadObject(FilePath("GeneralSettings.json"));
    QCOMPARE(file.size(), 7);
    QCOMPARE(file.value("lumenoDarkStyle"), QJsonValue(false));
    QCOMPARE(file.value("windowPosX"), QJsonValue(10));
}

void TestSettingsStore::historiesAndTheirMoveFromOldPages()
{
    SettingsStore store;
    QVERIFY(QDir().mkpath(m_folder));
    QJsonObject pageA = PageObject(QStringLiteral("A"));
    pageA.insert("inputHistory", QJsonArray::fromStringList(Numbered("a-in", 30)));
    QJsonObject pageB = PageObject(QStringLiteral("B"));
    pageB.insert("inputHistory", QJsonArray{"b-in"});
    pageB.insert("outputHistory", QJsonArray{"b-out", 7});
    QVERIFY(WriteObject(FilePath("PageSettings.json"), QJsonObject{{"allObject", QJsonArray{pageA, pageB}}}));

    // The chosen page's lists move; a tab out of range means the first page.
    for (const auto &[tab, input, output] :
         {std::tuple{1, QStringList{"b-in"}, QStringList{"b-out"}}, std::tuple{3, Numbered("a-in", 20), QStringList()},
          std::tuple{-1, Numbered("a-in", 20), QStringList()}}) {
        QFile::remove(FilePath("folderrecent.json"));
        QVERIFY(store.MoveRecentFromPageSettings(tab));
        RecentFolders lists;
        QVERIFY(store.ReadRecentFolders(lists));
        QCOMPARE(lists.inputHistory, input);
        QCOMPARE(lists.outputHistory, output);
    }

    // Through the general settings: once, at the first read with the flag false.
    QVERIFY(WriteObject(FilePath("GeneralSettings.json"), QJsonObject{{"lastSelectTab", 1}}));
    QFile::remove(FilePath("folderrecent.json"));
    GeneralSettingsRecord general;
    QVERIFY(store.ReadGeneralSettings(general));
    QVERIFY(general.isMovedRecent);
    RecentFolders grown;
    grown.inputHistory = {QStringLiteral("new")};
    QVERIFY(store.WriteRecentFolders(grown));
    const QByteArray before = ReadBytes(FilePath("folderrecent.json"));
    QVERIFY(store.ReadGeneralSettings(general));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);

    // A move never wipes existing histories: pages without old keys, keys that hold no
    // array, an empty page list.
    QJsonObject broken = PageObject(QStringLiteral("broken"));
    broken.insert("inputHistory", "C:\\older\\");
    for (const QJsonArray &pages : {QJsonArray{PageObject("p"), pageB}, QJsonArray{broken}, QJsonArray()}) {
        QVERIFY(WriteObject(FilePath("PageSettings.json"), QJsonObject{{"allObject", pages}}));
        QVERIFY(store.MoveRecentFromPageSettings(0));
        QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);
    }
    QVERIFY(QFile::remove(FilePath("PageSettings.json")));
    QVERIFY(!store.MoveRecentFromPageSettings(0));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), before);

    // The next page write drops the old keys from the pages.
    QVERIFY(WriteObject(FilePath("PageSettings.json"), QJsonObject{{"allObject", QJsonArray{pageA}}}));
    QList<PageSettingsRecord> pages;
    QVERIFY(store.ReadPageSettings(pages));
    QVERIFY(store.WritePageSettings(pages));
    QVERIFY(!ReadObject(FilePath("PageSettings.json")).value("allObject")[0].toObject().contains("inputHistory"));
}

void TestSettingsStore::failedWritesLeaveOtherFilesAlone()
{
    QVERIFY(WriteBytes(m_folder, "not a folder"));
    SettingsStore store;
    QVERIFY(!store.WriteGeneralSettings(GeneralSettingsRecord()));
    QVERIFY(!store.WriteDarkStyle(false));
    QVERIFY(!store.WritePageSettings({PageSettingsRecord()}));
    QVERIFY(!store.WriteRecentFolders(RecentFolders()));
    QCOMPARE(ReadBytes(m_folder), QByteArray("not a folder"));

    // A settings file that is itself a folder fails its own write and leaves the others alone.
    QVERIFY(QFile::remove(m_folder));
    QVERIFY(store.WriteRecentFolders(RecentFolders()));
    const QByteArray recent = ReadBytes(FilePath("folderrecent.json"));
    QVERIFY(QDir().mkpath(FilePath("PageSettings.json")));
    QVERIFY(!store.WritePageSettings({PageSettingsRecord()}));
    QCOMPARE(ReadBytes(FilePath("folderrecent.json")), recent);
    QCOMPARE(QDir(m_folder).entryList(QDir::Files | QDir::Hidden), QStringList{"folderrecent.json"});
}

void TestSettingsStore::presetFiles()
{
    SettingsStore store;
    const QString preset = m_data->path() + QStringLiteral("/mine.dkpage");
    PageSettingsRecord record;
    record.checked = true;
    record.stampOffsetX = -40;
    record.stampPosition = QStringLiteral("bottomleft");
    QVERIFY(store.WritePageFile(record, preset));
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

void TestSettingsStore::addRecent()
{
    // Most recent first; re-adding in another case moves it to the front in the new spelling.
    QStringList list{QStringLiteral("C:\\B\\"), QStringLiteral("C:\\A\\"), QStringLiteral("c:\\a\\")};
    AddRecent(list, QString()); // never added
    AddRecent(list, QStringLiteral("C:\\a\\"));
    AddRecent(list, QStringLiteral("D:\\Ä\\"));
    AddRecent(list, QStringLiteral("d:\\ä\\"));
    QCOMPARE(list, QStringList({"d:\\ä\\", "C:\\a\\", "C:\\B\\"}));

    // At most 20: the oldest drop off the end, unless a duplicate made room.
    QStringList full;
    for (int i = 0; i < 25; ++i)
        AddRecent(full, QStringLiteral("p%1").arg(i));
    QCOMPARE(full.size(), 20);
    QCOMPARE(full.first(), QStringLiteral("p24"));
    AddRecent(full, QStringLiteral("P10"));
    QCOMPARE(full.size(), 20);
    QCOMPARE(full.first(), QStringLiteral("P10"));
    QCOMPARE(full.last(), QStringLiteral("p5"));
    QStringList small = {"a", "b", "c"};
    AddRecent(small, QStringLiteral("d"), 2);
    QCOMPARE(small, QStringList({"d", "a"}));
}

QTEST_APPLESS_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"
