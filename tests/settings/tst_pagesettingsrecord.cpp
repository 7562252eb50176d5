// The page record: its defaults, its JSON object, the read rules and the validation.

#include "settings/pagesettingsrecord.h"
#include "settings/settingsstore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

namespace {

// Reads an object the way every stored page is read: JSON first, then the validation.
PageSettingsRecord ReadValidated(const QJsonObject &object)
{
    PageSettingsRecord record;
    SettingsStore::ReadPageJson(record, object);
    SettingsStore::ValidatePageData(record);
    return record;
}

QJsonObject Written(const PageSettingsRecord &record)
{
    QJsonObject object;
    SettingsStore::WritePageJson(record, object);
    return object;
}

// A valid record in which every field differs from its default.
PageSettingsRecord EveryFieldChanged()
{
    PageSettingsRecord r;
    r.tabName = QStringLiteral("写真 Ω");
    r.checked = true;
    r.generalInputDir = QStringLiteral("C:\\in\\フォルダ\\");
    r.generalOutputDir = QStringLiteral("D:\\out\\");
    r.generalOutputFormat = 6;
    r.balanceReducemode = 1;
    r.viewListNum = 3;
    r.generalSubFolder = false;
    r.generalUpdateFile = true;
    r.generalOptMarkWritee = false;
    r.jpegFileSizeGroup = true;
    r.jpegUpperLimit = 100000;
    r.jpegMaintainImageQual = true;
    r.uniqueLogFile = true;
    r.uniqueImageSuppression = false;
    r.uniqueBaseLineJPEG = true;
    r.uniqueICC = 3;
    r.uniqueAddOption = true;
    r.uniqueAddOptionStr = QStringLiteral("-jpegquality 80 \"x\"");
    r.resizeGroup = true;
    r.resizeRadio = 0;
    r.resizeWidth = 20000;
    r.resizeHeight = 1;
    r.resizeLongSide = 1920;
    r.resizeMagnification = 999;
    r.resizeImageFit = 4;
    r.resizeSmallImage = false;
    r.resizeForm = 2;
    r.useSuffix = true;
    r.suffix = QStringLiteral("_small");
    r.stampGroup = true;
    r.stampFile = QStringLiteral("C:\\logo.png");
    r.stampOpaque = 0;
    r.stampOffsetX = -9999;
    r.stampOffsetY = 9999;
    r.stampPosition = QStringLiteral("bottomright");
    return r;
}

} // namespace

class TestPageSettingsRecord : public QObject
{
    Q_OBJECT

private slots:
    void defaultRecordIsWrittenWithEveryKey();
    void emptyObjectOverwritesEveryField();
    void validRecordsSurviveARoundTrip();
    void unusableValuesFallBackToDefaults_data();
    void unusableValuesFallBackToDefaults();
    void tabNameIsCleanedAndCut();
    void readTimeClampsOnOpacityAndOffsets();
    void validationBringsFieldsIntoRange_data();
    void validationBringsFieldsIntoRange();
    void validationCutsLongTexts();
    void stampPositionOutsideTheNineIsUsedAsCenter();
};

void TestPageSettingsRecord::defaultRecordIsWrittenWithEveryKey()
{
    // The default record as a page object: exactly these 36 keys, these JSON types, these values.
    const QJsonObject expected = QJsonDocument::fromJson(R"({
        "tabName": "page", "checked": false, "generalInputDir": "", "generalOutputDir": "",
        "generalOutputFormat": 1, "balanceReducemode": 5, "viewListNum": 0,
        "generalSubFolder": true, "generalUpdateFile": false, "generalOptMarkWritee": true,
        "jpegFileSizeGroup": false, "jpegUpperLimit": 1000, "jpegMaintainImageQual": false,
        "uniqueLogFile": false, "uniqueImageSuppression": true, "uniqueBaseLineJPEG": false,
        "uniqueICC": 0, "uniqueAddOption": false, "uniqueAddOptionStr": "",
        "resizeGroup": false, "resizeRadio": 4, "resizeWidth": 1000, "resizeHeight": 1000,
        "resizeLongSide": 1000, "resizeMagnification": 100, "resizeImageFit": 0,
        "resizeSmallImage": true, "resizeForm": 0, "useSuffix": false, "suffix": "",
        "stampGroup": false, "stampFile": "", "stampOpaque": 100, "stampOffsetX": 0,
        "stampOffsetY": 0, "stampPosition": "center"})").object();
    QCOMPARE(expected.size(), 36);
    const QJsonObject written = Written(PageSettingsRecord());
    QCOMPARE(written, expected);
    for (auto it = expected.begin(); it != expected.end(); ++it)
        QVERIFY2(written.value(it.key()).type() == it.value().type(), qPrintable(it.key()));

    // Integers are written as integers, not as 1000.0 or 1e3.
    const QByteArray text = QJsonDocument(Written(EveryFieldChanged())).toJson(QJsonDocument::Compact);
    QVERIFY2(!text.contains(".0") && !text.contains("e+"), text.constData());

    // The default record is already valid: the validation leaves it alone.
    PageSettingsRecord validated;
    SettingsStore::ValidatePageData(validated);
    QVERIFY(validated == PageSettingsRecord());

    // Writing into an object that already holds keys replaces their values.
    QJsonObject reused{{"tabName", 7}, {"resizeWidth", "x"}};
    SettingsStore::WritePageJson(EveryFieldChanged(), reused);
    QCOMPARE(reused, Written(EveryFieldChanged()));
}

void TestPageSettingsRecord::emptyObjectOverwritesEveryField()
{
    // Start from a record where every field differs, so a field the reader forgets shows up.
    PageSettingsRecord record = EveryFieldChanged();
    SettingsStore::ReadPageJson(record, QJsonObject());
    QVERIFY(record == PageSettingsRecord());
    QCOMPARE(record.tabName, QStringLiteral("page"));
}

void TestPageSettingsRecord::validRecordsSurviveARoundTrip()
{
    const QList<PageSettingsRecord> records = {PageSettingsRecord(), EveryFieldChanged()};
    for (const PageSettingsRecord &original : records) {
        // Through the object itself and through its text, as the files hold it.
        QVERIFY(ReadValidated(Written(original)) == original);
        const QByteArray text = QJsonDocument(Written(original)).toJson(QJsonDocument::Indented);
        QVERIFY(ReadValidated(QJsonDocument::fromJson(text).object()) == original);
    }

    // Numbers as a file holds them: an integer beyond 32 bits is unusable, a whole number in
    // another notation is fine.
    const QJsonObject parsed = QJsonDocument::fromJson(
        R"({"viewListNum": 3000000000, "resizeWidth": 640.0, "resizeHeight": 2e3,
            "stampOffsetX": -2147483649, "jpegUpperLimit": 5000})").object();
    const PageSettingsRecord fromText = ReadValidated(parsed);
    QCOMPARE(fromText.viewListNum, 0);
    QCOMPARE(fromText.resizeWidth, 640);
    QCOMPARE(fromText.resizeHeight, 2000);
    QCOMPARE(fromText.stampOffsetX, 0);
    QCOMPARE(fromText.jpegUpperLimit, 5000);

    // The edges of every range are inside it.
    PageSettingsRecord low;
    low.generalOutputFormat = 0;
    low.balanceReducemode = 0;
    low.jpegUpperLimit = 1;
    low.resizeWidth = low.resizeHeight = low.resizeLongSide = 1;
    low.resizeMagnification = 1;
    low.tabName = QString(32, QLatin1Char('n'));
    low.generalInputDir = QString(240, QLatin1Char('i'));
    low.uniqueAddOptionStr = QString(200, QLatin1Char('a'));
    QVERIFY(ReadValidated(Written(low)) == low);
}

void TestPageSettingsRecord::unusableValuesFallBackToDefaults_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("stored");
    QTest::addColumn<QJsonValue>("expected");

    QTest::newRow("fraction for an int") << "jpegUpperLimit" << QJsonValue(2500.5) << QJsonValue(1000);
    QTest::newRow("string for an int") << "jpegUpperLimit" << QJsonValue("2500") << QJsonValue(1000);
    QTest::newRow("bool for an int") << "resizeWidth" << QJsonValue(true) << QJsonValue(1000);
    QTest::newRow("null for an int") << "resizeHeight" << QJsonValue(QJsonValue::Null) << QJsonValue(1000);
    QTest::newRow("beyond 32 bits") << "viewListNum" << QJsonValue(3000000000.0) << QJsonValue(0);
    QTest::newRow("below 32 bits") << "viewListNum" << QJsonValue(-3000000000.0) << QJsonValue(0);
    QTest::newRow("whole double is fine") << "jpegUpperLimit" << QJsonValue(2500.0) << QJsonValue(2500);
    QTest::newRow("negative whole is fine") << "viewListNum" << QJsonValue(-7) << QJsonValue(-7);
    QTest::newRow("int32 maximum") << "viewListNum" << QJsonValue(2147483647) << QJsonValue(2147483647);
    QTest::newRow("number for a bool") << "generalSubFolder" << QJsonValue(0) << QJsonValue(true);
    QTest::newRow("one for a bool") << "checked" << QJsonValue(1) << QJsonValue(false);
    QTest::newRow("string for a bool") << "useSuffix" << QJsonValue("true") << QJsonValue(false);
    QTest::newRow("number for a string") << "stampPosition" << QJsonValue(4) << QJsonValue("center");
    QTest::newRow("array for a string") << "generalInputDir" << QJsonValue(QJsonArray{"C:\\"}) << QJsonValue("");
    QTest::newRow("object for a string") << "tabName" << QJsonValue(QJsonObject{{"a", 1}}) << QJsonValue("page");
}

void TestPageSettingsRecord::unusableValuesFallBackToDefaults()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, stored);
    QFETCH(QJsonValue, expected);

    const PageSettingsRecord record = ReadValidated(QJsonObject{{key, stored}});
    const QJsonObject back = Written(record);
    QCOMPARE(back.value(key), expected);
    // The other fields are untouched by one bad key.
    QJsonObject withoutKey = back;
    withoutKey.remove(key);
    QJsonObject defaults = Written(PageSettingsRecord());
    defaults.remove(key);
    QCOMPARE(withoutKey, defaults);
}

void TestPageSettingsRecord::tabNameIsCleanedAndCut()
{
    PageSettingsRecord record;
    SettingsStore::ReadPageJson(record, QJsonObject{{"tabName", "  my\npage  "}});
    QCOMPARE(record.tabName, QStringLiteral("mypage"));

    SettingsStore::ReadPageJson(record, QJsonObject{{"tabName", " \n\t \n"}});
    QCOMPARE(record.tabName, QString()); // an empty name stays empty, it does not become "page"

    SettingsStore::ReadPageJson(record, QJsonObject{{"tabName", "\na\r\nb c\n"}});
    QCOMPARE(record.tabName, QStringLiteral("a\rb c"));

    const QString forty = QStringLiteral("0123456789abcdefghijABCDEFGHIJ0123456789");
    QCOMPARE(forty.size(), 40);
    SettingsStore::ReadPageJson(record, QJsonObject{{"tabName", forty}});
    QCOMPARE(record.tabName, forty); // reading does not cut; the validation does
    SettingsStore::ValidatePageData(record);
    QCOMPARE(record.tabName, forty.left(32));

    // Padding is trimmed before the length is judged.
    record = ReadValidated(QJsonObject{{"tabName", "   " + forty.left(32) + "   "}});
    QCOMPARE(record.tabName, forty.left(32));
}

void TestPageSettingsRecord::readTimeClampsOnOpacityAndOffsets()
{
    struct Case { const char *key; int stored; int expected; };
    const Case cases[] = {
        {"stampOpaque", 150, 100}, {"stampOpaque", -5, 0}, {"stampOpaque", 0, 0},
        {"stampOpaque", 100, 100}, {"stampOffsetX", 12000, 9999}, {"stampOffsetX", -12000, -9999},
        {"stampOffsetY", 12000, 9999}, {"stampOffsetY", -12000, -9999},
        {"stampOffsetY", -9999, -9999}, {"stampOffsetX", 42, 42},
    };
    for (const Case &c : cases) {
        PageSettingsRecord record;
        SettingsStore::ReadPageJson(record, QJsonObject{{c.key, c.stored}});
        QCOMPARE(Written(record).value(c.key).toInt(), c.expected);
    }

    // The clamps belong to the reader: a record set out of range directly is not changed by
    // the validation.
    PageSettingsRecord direct;
    direct.stampOpaque = 150;
    direct.stampOffsetX = 12000;
    SettingsStore::ValidatePageData(direct);
    QCOMPARE(direct.stampOpaque, 150);
    QCOMPARE(direct.stampOffsetX, 12000);
}

void TestPageSettingsRecord::validationBringsFieldsIntoRange_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("stored");
    QTest::addColumn<int>("expected");

    QTest::newRow("format 7") << "generalOutputFormat" << 7 << 1;
    QTest::newRow("format -1") << "generalOutputFormat" << -1 << 1;
    QTest::newRow("format 0 stays") << "generalOutputFormat" << 0 << 0;
    QTest::newRow("format 6 stays") << "generalOutputFormat" << 6 << 6;
    QTest::newRow("reducemode 9") << "balanceReducemode" << 9 << 8;
    QTest::newRow("reducemode -3") << "balanceReducemode" << -3 << 8;
    QTest::newRow("reducemode 0 stays") << "balanceReducemode" << 0 << 0;
    QTest::newRow("reducemode 8 stays") << "balanceReducemode" << 8 << 8;
    QTest::newRow("limit 0") << "jpegUpperLimit" << 0 << 1000;
    QTest::newRow("limit 100000 stays") << "jpegUpperLimit" << 100000 << 100000;
    QTest::newRow("limit 100001") << "jpegUpperLimit" << 100001 << 1000;
    QTest::newRow("icc 4") << "uniqueICC" << 4 << 0;
    QTest::newRow("icc -1") << "uniqueICC" << -1 << 0;
    QTest::newRow("icc 3 stays") << "uniqueICC" << 3 << 3;
    QTest::newRow("radio 5") << "resizeRadio" << 5 << 4;
    QTest::newRow("radio -1") << "resizeRadio" << -1 << 4;
    QTest::newRow("radio 0 stays") << "resizeRadio" << 0 << 0;
    QTest::newRow("width 20001") << "resizeWidth" << 20001 << 1000;
    QTest::newRow("width 20000 stays") << "resizeWidth" << 20000 << 20000;
    QTest::newRow("height 0") << "resizeHeight" << 0 << 1000;
    QTest::newRow("long side -20") << "resizeLongSide" << -20 << 1000;
    QTest::newRow("long side 1 stays") << "resizeLongSide" << 1 << 1;
    QTest::newRow("magnification 0") << "resizeMagnification" << 0 << 100;
    QTest::newRow("magnification 1000") << "resizeMagnification" << 1000 << 100;
    QTest::newRow("magnification 999 stays") << "resizeMagnification" << 999 << 999;
    QTest::newRow("image fit 5") << "resizeImageFit" << 5 << 0;
    QTest::newRow("image fit 4 stays") << "resizeImageFit" << 4 << 4;
    QTest::newRow("form 3") << "resizeForm" << 3 << 0;
    QTest::newRow("form -2") << "resizeForm" << -2 << 0;
    QTest::newRow("form 2 stays") << "resizeForm" << 2 << 2;
    QTest::newRow("view list 12 stays") << "viewListNum" << 12 << 12;
    QTest::newRow("view list -4 stays") << "viewListNum" << -4 << -4;
}

void TestPageSettingsRecord::validationBringsFieldsIntoRange()
{
    QFETCH(QString, key);
    QFETCH(int, stored);
    QFETCH(int, expected);
    QCOMPARE(Written(ReadValidated(QJsonObject{{key, stored}})).value(key).toInt(), expected);
}

void TestPageSettingsRecord::validationCutsLongTexts()
{
    PageSettingsRecord record;
    record.generalInputDir = QString(241, QLatin1Char('i'));
    record.generalOutputDir = QString(300, QLatin1Char('o'));
    record.uniqueAddOptionStr = QString(201, QLatin1Char('a'));
    record.suffix = QString(500, QLatin1Char('s'));
    record.stampFile = QString(500, QLatin1Char('f'));
    SettingsStore::ValidatePageData(record);
    QCOMPARE(record.generalInputDir, QString(240, QLatin1Char('i')));
    QCOMPARE(record.generalOutputDir, QString(240, QLatin1Char('o')));
    QCOMPARE(record.uniqueAddOptionStr, QString(200, QLatin1Char('a')));
    // These two have no length rule in the record.
    QCOMPARE(record.suffix.size(), 500);
    QCOMPARE(record.stampFile.size(), 500);

    // Lengths are UTF-16 code units: 31 letters and one surrogate pair make 33 units.
    PageSettingsRecord wide;
    wide.tabName = QString(31, QLatin1Char('x')) + QString::fromUtf8("\xF0\x9F\x98\x80");
    QCOMPARE(wide.tabName.size(), 33);
    SettingsStore::ValidatePageData(wide);
    QCOMPARE(wide.tabName.size(), 32);
}

void TestPageSettingsRecord::stampPositionOutsideTheNineIsUsedAsCenter()
{
    const QStringList expected = {"topleft", "top", "topright", "left", "center",
                                  "right", "bottomleft", "bottom", "bottomright"};
    QCOMPARE(StampPositionWords(), expected);
    for (const QString &word : expected)
        QCOMPARE(EffectiveStampPosition(word), word);
    QCOMPARE(EffectiveStampPosition(QStringLiteral("middle")), QStringLiteral("center"));
    QCOMPARE(EffectiveStampPosition(QStringLiteral("TopLeft")), QStringLiteral("center"));
    QCOMPARE(EffectiveStampPosition(QString()), QStringLiteral("center"));

    // The record keeps an unknown word as it was stored.
    const PageSettingsRecord record = ReadValidated(QJsonObject{{"stampPosition", "middle"}});
    QCOMPARE(record.stampPosition, QStringLiteral("middle"));
}

QTEST_APPLESS_MAIN(TestPageSettingsRecord)
#include "tst_pagesettingsrecord.moc"
