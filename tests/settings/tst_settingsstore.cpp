// The settings folder and its three files, the history move and the preset files. Every test
// points the store at a fresh temporary data location, never at the user's own settings.

#include "settings/recentfolders.h"
#include "settings/settingsstore.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
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

QStringList Numbered(const QString &prefix, int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list << prefix + QString::number(i);
    return list;
}

} // namespace

class TestSettingsStore : public QObject
{
    Q_OBJECT

    QTemporaryDir m_data;
    QString m_folder;  // the settings folder inside the temporary data location
    QString File(const char *name) const { return m_folder + '/' + name; }

private slots:
    void init()
    {
        QDir(m_data.path()).removeRecursively();
        QVERIFY(QDir().mkpath(m_data.path()));
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_data.path() + "/a/b"));  // writes create the folders
        m_folder = m_data.path() + "/a/b/Lumeno Dravik for Desktop";
        QCOMPARE(SettingsStore().GetSettingsFolder(), QDir::toNativeSeparators(m_folder));
    }

    // The folder below the data location in the given path syntax; none without a location.
    void settingsFolderFollowsThePathSyntax()
    {
        QCOMPARE(SettingsStore::SettingsFolderFor("C:/Users/me/AppData/Local", '\\'), QString("C:\\Users\\me\\AppData\\Local\\Lumeno Dravik for Desktop"));
        QCOMPARE(SettingsStore::SettingsFolderFor("C:\\Users\\me\\", '\\'), QString("C:\\Users\\me\\Lumeno Dravik for Desktop"));
        QCOMPARE(SettingsStore::SettingsFolderFor("/home\\me/data", '/'), QString("/home/me/data/Lumeno Dravik for Desktop"));
        QCOMPARE(SettingsStore::SettingsFolderFor(QString(), '\\'), QString());
    }

    // Nothing stored: defaults (three pages), records untouched, and nothing created.
    void firstStartReadsDefaultsAndWritesNothing()
    {
        SettingsStore store;
        GeneralSettingsRecord general;
        general.windowPosX = 77;
        QVERIFY(!store.ReadGeneralSettings(general));
        QCOMPARE(general.windowPosX, 77);
        QList<PageSettingsRecord> pages;
        QVERIFY(store.ReadPageSettings(pages));
        QCOMPARE(pages.size(), 3);
        QCOMPARE(pages.at(2).tabName, QStringLiteral("page3"));
        RecentFolders lists;
        lists.inputHistory = {"kept"};
        QVERIFY(!store.ReadRecentFolders(lists) && lists.inputHistory == QStringList{"kept"});
        QVERIFY(!QFileInfo::exists(m_data.path() + "/a"));
    }

    // Each file written and read back; stored as named, UTF-8, indented, nothing else left;
    // at most ten pages and twenty entries a history are read back.
    void filesRoundTripInTheirStoredForm()
    {
        SettingsStore store;
        GeneralSettingsRecord general;
        general.windowPosX = -1200;
        general.lastSelectTab = 2;
        general.isMovedRecent = true;
        QVERIFY(store.WriteGeneralSettings(general));
        QList<PageSettingsRecord> pages(12);
        pages[0].tabName = QStringLiteral("写真");
        pages[1].stampPosition = "top";
        QVERIFY(store.WritePageSettings(pages));
        RecentFolders lists;
        lists.inputHistory = QStringList{"", "D:\\フォト\\"} + Numbered("x", 24);
        lists.outputHistory = {"E:\\out\\"};
        QVERIFY(store.WriteRecentFolders(lists));
        QCOMPARE(QDir(m_folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden, QDir::Name),
                 QStringList({"GeneralSettings.json", "PageSettings.json", "folderrecent.json"}));

        GeneralSettingsRecord generalBack;
        QVERIFY(store.ReadGeneralSettings(generalBack) && generalBack == general);
        QList<PageSettingsRecord> pagesBack;
        QVERIFY(store.ReadPageSettings(pagesBack));
        QCOMPARE(pagesBack.size(), 10);
        QVERIFY(pagesBack.at(0) == pages.at(0) && pagesBack.at(1) == pages.at(1));
        RecentFolders listsBack;
        listsBack.stampHistory = {"replaced"};
        QVERIFY(store.ReadRecentFolders(listsBack));
        QCOMPARE(listsBack.inputHistory, lists.inputHistory.mid(1, 20));
        QCOMPARE(listsBack.outputHistory, lists.outputHistory);
        QVERIFY(listsBack.stampHistory.isEmpty());

        QVERIFY(ReadBytes(File("PageSettings.json")).startsWith("{\n    \"allObject\": ["));
        QCOMPARE(ReadObject(File("GeneralSettings.json")).keys(), QStringList({"batchMode", "isDetailedOpen", "isMovedRecent",
                                                                             "lastSelectTab", "lumenoDarkStyle", "windowPosX", "windowPosY"}));
        const QJsonObject recent = ReadObject(File("folderrecent.json"));
        QCOMPARE(recent.keys(), QStringList({"inputHistory", "outputHistory", "stampHistory"}));
        QCOMPARE(recent.value("inputHistory").toArray().size(), 25);
    }

    void damagedPageFilesReadAsDefaults_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("firstName");
        QTest::newRow("binary") << QByteArray("\x89PNG\r\n\x1a\n\0\0\0", 11) << "page1";
        QTest::newRow("array on top") << QByteArray("[{\"tabName\": \"x\"}]") << "page1";
        QTest::newRow("no pages") << QByteArray("{\"allObject\": []}") << "page1";
        QTest::newRow("half-written") << QByteArray("{\"allObject\": [{\"tabName\": \"mine\"}") << "page1";
        QTest::newRow("byte-order mark") << QByteArray("\xEF\xBB\xBF{\"allObject\": [{\"tabName\": \"mine\"}]}") << "mine";
        QTest::newRow("bad values") << QByteArray("{\"allObject\": [{\"tabName\": \"mine\", \"resizeWidth\": 0}, 5]}") << "mine";
    }

    // A page file that cannot be read gives the default pages; stored values are validated.
    void damagedPageFilesReadAsDefaults()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, firstName);
        QVERIFY(QDir().mkpath(m_folder) && WriteBytes(File("PageSettings.json"), content));
        QList<PageSettingsRecord> read;
        QVERIFY(SettingsStore().ReadPageSettings(read));
        QCOMPARE(read.at(0).tabName, firstName);
        QCOMPARE(read.at(0).resizeWidth, 1000);
    }

    // Wrong types read as defaults; the theme switch leaves only the dark flag, which the
    // next full write keeps whatever the record says.
    void generalSettingsAndTheDarkFlag()
    {
        SettingsStore store;
        QVERIFY(QDir().mkpath(m_folder));
        QVERIFY(WriteBytes(File("GeneralSettings.json"), R"({"lumenoDarkStyle": "false", "windowPosX": "100", "windowPosY": 12.5,
                                                             "lastSelectTab": 3, "isMovedRecent": true})"));
        GeneralSettingsRecord typed;
        QVERIFY(store.ReadGeneralSettings(typed));
        QVERIFY(typed.lumenoDarkStyle && typed.windowPosX == 0 && typed.windowPosY == 0 && typed.lastSelectTab == 3);
        QVERIFY(store.WriteDarkStyle(false));
        QCOMPARE(ReadObject(File("GeneralSettings.json")), QJsonObject({{"lumenoDarkStyle", false}}));
        typed.lumenoDarkStyle = true;
        QVERIFY(store.WriteGeneralSettings(typed));
        QCOMPARE(ReadObject(File("GeneralSettings.json")).value("lumenoDarkStyle"), QJsonValue(false));
        QCOMPARE(ReadObject(File("GeneralSettings.json")).size(), 7);
    }

    // The histories older versions kept in the pages move once, from the last tab's page, and
    // never wipe existing ones.
    void historiesMoveOnceFromOldPages()
    {
        SettingsStore store;
        QVERIFY(QDir().mkpath(m_folder));
        QJsonObject pageA{{"tabName", "A"}, {"inputHistory", QJsonArray::fromStringList(Numbered("a", 30))}};
        QJsonObject pageB{{"tabName", "B"}, {"inputHistory", QJsonArray{"b-in"}}, {"outputHistory", QJsonArray{"b-out", 7}}};
        QVERIFY(WriteBytes(File("PageSettings.json"), QJsonDocument(QJsonObject{{"allObject", QJsonArray{pageA, pageB}}}).toJson()));
        QVERIFY(WriteBytes(File("GeneralSettings.json"), R"({"lastSelectTab": 1})"));
        GeneralSettingsRecord general;
        QVERIFY(store.ReadGeneralSettings(general) && general.isMovedRecent);
        RecentFolders lists;
        QVERIFY(store.ReadRecentFolders(lists));
        QCOMPARE(lists.inputHistory, QStringList{"b-in"});
        QCOMPARE(lists.outputHistory, QStringList{"b-out"});
        QVERIFY(store.MoveRecentFromPageSettings(9));  // a tab out of range means the first page
        QVERIFY(store.ReadRecentFolders(lists) && lists.inputHistory == Numbered("a", 20));

        const QByteArray before = ReadBytes(File("folderrecent.json"));
        QVERIFY(WriteBytes(File("PageSettings.json"), R"({"allObject": [{"tabName": "x", "inputHistory": "C:\\older\\"}]})"));
        QVERIFY(store.MoveRecentFromPageSettings(0));
        QVERIFY(store.ReadGeneralSettings(general));
        QCOMPARE(ReadBytes(File("folderrecent.json")), before);
    }

    // A failed write reports false and leaves every other file as it was.
    void failedWritesLeaveOtherFilesAlone()
    {
        SettingsStore store;
        QVERIFY(QDir().mkpath(File("PageSettings.json")));  // a folder where the file belongs
        QVERIFY(store.WriteRecentFolders(RecentFolders()));
        const QByteArray recent = ReadBytes(File("folderrecent.json"));
        QVERIFY(!store.WritePageSettings({PageSettingsRecord()}));
        QCOMPARE(ReadBytes(File("folderrecent.json")), recent);
        QCOMPARE(QDir(m_folder).entryList(QDir::Files | QDir::Hidden), QStringList{"folderrecent.json"});
    }

    // A preset round-trips; a file that cannot be opened or is no page object leaves the
    // record untouched, and only the second is told apart.
    void presetFiles()
    {
        SettingsStore store;
        const QString preset = m_data.path() + "/mine.dkpage";
        PageSettingsRecord record;
        record.stampOffsetX = -40;
        QVERIFY(store.WritePageFile(record, preset));
        PageSettingsRecord back;
        QCOMPARE(store.ReadPageFile(back, preset), SettingsStore::PageFileRead::Read);
        QVERIFY(back == record);
        QVERIFY(!store.WritePageFile(record, m_data.path() + "/no/such/folder/x.dkpage"));
        QCOMPARE(store.ReadPageFile(back, m_data.path() + "/missing.dkpage"), SettingsStore::PageFileRead::CannotOpen);
        for (const QByteArray &content : {QByteArray("\xFF\xD8\xFF\xE0\0\x10JFIF\0", 11), QByteArray("[{\"tabName\": \"x\"}]")}) {
            QVERIFY(WriteBytes(preset, content));
            QCOMPARE(store.ReadPageFile(back, preset), SettingsStore::PageFileRead::NotAPageFile);
            QVERIFY(back == record);
        }
    }

    // Most recent first, at most twenty, a name in another letter case moves to the front.
    void addRecent()
    {
        QStringList list{"C:\\B\\", "C:\\A\\"};
        AddRecent(list, QString());
        AddRecent(list, "c:\\a\\");
        QCOMPARE(list, QStringList({"c:\\a\\", "C:\\B\\"}));
        for (int i = 0; i < 25; ++i)
            AddRecent(list, QStringLiteral("p%1").arg(i));
        AddRecent(list, "P10");
        QCOMPARE(list.size(), 20);
        QCOMPARE(list.first(), QString("P10"));
        QCOMPARE(list.last(), QString("p5"));
    }
};

QTEST_APPLESS_MAIN(TestSettingsStore)
#include "tst_settingsstore.moc"
