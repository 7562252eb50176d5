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
    void validRecordsSurviveARoundTrip();
    void readValuesAreCheckedAndBroughtIntoRange_data();
    void readValuesAreCheckedAndBroughtIntoRange();
    void textsAreCleanedAndCut();
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
    const QJsonObject written = Written(PageSettingsRecord());
    QCOMPARE(written, expected);
    for (auto it = expected.begin(); it != expected.end(); ++it)
        QVERIFY2(written.value(it.key()).type() == it.value().type(), qPrintable(it.key()));

    // Integers are written as integers, not as 1000.0 or 1e3.
    const QByteArray text = QJsonDocument(Written(EveryFieldChanged())).toJson(QJsonDocument::Compact);
    QVERIFY2(!text.contains(".0") && !text.contains("e+"), text.constData());

    // An empty object gives the default record, starting from one where every field differs,
    // so a field the reader forgets shows up.
    PageSettingsRecord record = EveryFieldChanged();
    SettingsStore::ReadPageJson(record, QJsonObject());
    QVERIFY(record == PageSettingsRecord());
}

void TestPageSettingsRecord::validRecordsSurviveARoundTrip()
{
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
    for (const PageSettingsRecord &original : {PageSettingsRecord(), EveryFieldChanged(), low}) {
        // Through the object itself and through its text, as the files hold it.
        QVERIFY(ReadValidated(Written(original)) == original);
        const QByteArray text = QJsonDocument(Written(original)).toJson(QJsonDocument::Indented);
        QVERIFY(ReadValidated(QJsonDocument::fromJson(text).object()) == original);
    }
}

void TestPageSettingsRecord::readValuesAreCheckedAndBroughtIntoRange_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QJsonValue>("stored");
    QTest::addColumn<QJsonValue>("expected");

    // A value of the wrong JSON type, or no 32-bit integer, is the default.
    QTest::newRow("fraction for an int") << "jpegUpperLimit" << QJsonValue(2500.5) << QJsonValue(1000);
    QTest::newRow("string for an int") << "jpegUpperLimit" << QJsonValue("2500") << QJsonValue(1000);
    QTest::newRow("null for an int") << "resizeHeight" << QJsonValue(QJsonValue::Null) << QJsonValue(1000);
    QTest::newRow("beyond 32 bits") << "viewListNum" << QJsonValue(3000000000.0) << QJsonValue(0);
    QTest::newRow("below 32 bits") << "stampOffsetX" << QJsonValue(-2147483649.0) << QJsonValue(0);
    QTest::newRow("whole double is fine") << "resizeHeight" << QJsonValue(2e3) << QJsonValue(2000);
    QTest::newRow("int32 maximum") << "viewListNum" << QJsonValue(2147483647) << QJsonValue(2147483647);
    QTest::newRow("number for a bool") << "generalSubFolder" << QJsonValue(0) << QJsonValue(true);
    QTest::newRow("string for a bool") << "useSuffix" << QJsonValue("true") << QJsonValue(false);
    QTest::newRow("number for a string") << "stampPosition" << QJsonValue(4) << QJsonValue("center");
    QTest::newRow("object for a string") << "tabName" << QJsonValue(QJsonObject{{"a", 1}}) << QJsonValue("page");
    // Opacity and offsets are clamped into their range.
    QTest::newRow("opacity 150") << "stampOpaque" << QJsonValue(150) << QJsonValue(100);
    QTest::newRow("opacity -5") << "stampOpaque" << QJsonValue(-5) << QJsonValue(0);
    QTest::newRow("offset x 12000") << "stampOffsetX" << QJsonValue(12000) << QJsonValue(9999);
    QTest::newRow("offset y -12000") << "stampOffsetY" << QJsonValue(-12000) << QJsonValue(-9999);
    // Other numbers out of range take their default; the edges stay.
    QTest::newRow("format 7") << "generalOutputFormat" << QJsonValue(7) << QJsonValue(1);
    QTest::newRow("format -1") << "generalOutputFormat" << QJsonValue(-1) << QJsonValue(1);
    QTest::newRow("format 6 stays") << "generalOutputFormat" << QJsonValue(6) << QJsonValue(6);
    QTest::newRow("reducemode 9") << "balanceReducemode" << QJsonValue(9) << QJsonValue(8);
    QTest::newRow("reducemode -3") << "balanceReducemode" << QJsonValue(-3) << QJsonValue(8);
    QTest::newRow("limit 0") << "jpegUpperLimit" << QJsonValue(0) << QJsonValue(1000);
    QTest::newRow("limit 100001") << "jpegUpperLimit" << QJsonValue(100001) << QJsonValue(1000);
    QTest::newRow("icc 4") << "uniqueICC" << QJsonValue(4) << QJsonValue(0);
    QTest::newRow("radio 5") << "resizeRadio" << QJsonValue(5) << QJsonValue(4);
    QTest::newRow("width 20001") << "resizeWidth" << QJsonValue(20001) << QJsonValue(1000);
    QTest::newRow("long side -20") << "resizeLongSide" << QJsonValue(-20) << QJsonValue(1000);
    QTest::newRow("magnification 1000") << "resizeMagnification" << QJsonValue(1000) << QJsonValue(100);
    QTest::newRow("image fit 5") << "resizeImageFit" << QJsonValue(5) << QJsonValue(0);
    QTest::newRow("form 3") << "resizeForm" << QJsonValue(3) << QJsonValue(0);
    QTest::newRow("view list -4 stays") << "viewListNum" << QJsonValue(-4) << QJsonValue(-4);
}

void TestPageSettingsRecord::readValuesAreCheckedAndBroughtIntoRange()
{
    QFETCH(QString, key);
    QFETCH(QJsonValue, stored);
    QFETCH(QJsonValue, expected);
    const QJsonObject back = Written(ReadValidated(QJsonObject{{key, stored}}));
    QCOMPARE(back.value(key), expected);
    // The other fields are untouched by one bad key.
    QJsonObject others = back, defaults = Written(PageSettingsRecord());
    others.remove(key);
    defaults.remove(key);
    QCOMPARE(others, defaults);
}

void TestPageSettingsRecord::textsAreCleanedAndCut()
{
    const QString forty = QStringLiteral("0123456789abcdefghijABCDEFGHIJ0123456789");
    // Line breaks go and padding is trimmed before the length is judged; an empty name
    // stays empty.
    const QList<QPair<QString, QString>> names{{"  my\npage  ", "mypage"}, {" \n\t \n", ""},
                                               {"\na\r\nb c\n", "a\rb c"}, {"   " + forty + "   ", forty.left(32)}};
    for (const auto &[stored, expected] : names)
        QCOMPARE(ReadValidated(QJsonObject{{"tabName", stored}}).tabName, expected);

    PageSettingsRecord record;
    record.generalInputDir = QString(241, QLatin1Char('i'));
    record.generalOutputDir = QString(300, QLatin1Char('o'));
    record.uniqueAddOptionStr = QString(201, QLatin1Char('a'));
    record.suffix = QString(500, QLatin1Char('s'));
    // Lengths are UTF-16 code units: 31 letters and one surrogate pair make 33 units.
    record.tabName = QString(31, QLatin1Char('x')) + QString::fromUtf8("\xF0\x9F\x98\x80");
    SettingsStore::ValidatePageData(record);
    QCOMPARE(record.generalInputDir, QString(240, QLatin1Char('i')));
    QCOMPARE(record.generalOutputDir, QString(240, QLatin1Char('o')));
    QCOMPARE(record.uniqueAddOptionStr, QString(200, QLatin1Char('a')));
    QCOMPARE(record.suffix.size(), 500); // no length rule
    QCOMPARE(record.tabName.size(), 32);
}

void TestPageSettingsRecord::stampPositionOutsideTheNineIsUsedAsCenter()
{
    const QStringList nine = {"topleft", "top", "topright", "left", "center",
                              "right", "bottomleft", "bottom", "bottomright"};
    for (const QString &word : nine)
        QCOMPARE(EffectiveStampPosition(word), word);
    for (const QString &word : {QStringLiteral("middle"), QStringLiteral("TopLeft"), QString()})
        QCOMPARE(EffectiveStampPosition(word), QStringLiteral("center"));
    // The record keeps an unknown word as it was stored.
    QCOMPARE(ReadValidated(QJsonObject{{"stampPosition", "middle"}}).stampPosition, QStringLiteral("middle"));
}

QTEST_APPLESS_MAIN(TestPageSettingsRecord)
#include "tst_pagesettingsrecord.moc"
