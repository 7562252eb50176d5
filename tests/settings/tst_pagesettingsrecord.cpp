// The page record: its JSON object, the read rules and the validation of stored values.

#include "settings/pagesettingsrecord.h"
#include "settings/settingsstore.h"

#include <QJsonDocument>
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

// The default page as stored: exactly these keys, JSON types and values.
const char kDefaultPage[] = R"({"tabName": "page", "checked": false, "generalInputDir": "", "generalOutputDir": "",
    "generalOutputFormat": 1, "balanceReducemode": 5, "viewListNum": 0, "generalSubFolder": true,
    "generalUpdateFile": false, "generalOptMarkWritee": true, "jpegFileSizeGroup": false, "jpegUpperLimit": 1000,
    "jpegMaintainImageQual": false, "uniqueLogFile": false, "uniqueImageSuppression": true, "uniqueBaseLineJPEG": false,
    "uniqueICC": 0, "uniqueAddOption": false, "uniqueAddOptionStr": "", "resizeGroup": false, "resizeRadio": 4,
    "resizeWidth": 1000, "resizeHeight": 1000, "resizeLongSide": 1000, "resizeMagnification": 100, "resizeImageFit": 0,
    "resizeSmallImage": true, "resizeForm": 0, "useSuffix": false, "suffix": "", "stampGroup": false, "stampFile": "",
    "stampOpaque": 100, "stampOffsetX": 0, "stampOffsetY": 0, "stampPosition": "center"})";

// A valid page in which every field differs from its default, values at the range edges.
const char kEveryFieldChanged[] = R"({"tabName": "写真 Ω 012345678901234567890123456", "checked": true,
    "generalInputDir": "C:\\in\\フォルダ\\", "generalOutputDir": "D:\\out\\", "generalOutputFormat": 6,
    "balanceReducemode": 0, "viewListNum": -4, "generalSubFolder": false, "generalUpdateFile": true,
    "generalOptMarkWritee": false, "jpegFileSizeGroup": true, "jpegUpperLimit": 100000, "jpegMaintainImageQual": true,
    "uniqueLogFile": true, "uniqueImageSuppression": false, "uniqueBaseLineJPEG": true, "uniqueICC": 3,
    "uniqueAddOption": true, "uniqueAddOptionStr": "-jpegquality 80 -metadata strip", "resizeGroup": true, "resizeRadio": 0,
    "resizeWidth": 20000, "resizeHeight": 1, "resizeLongSide": 1920, "resizeMagnification": 999, "resizeImageFit": 4,
    "resizeSmallImage": false, "resizeForm": 2, "useSuffix": true, "suffix": "_small", "stampGroup": true,
    "stampFile": "C:\\logo.png", "stampOpaque": 0, "stampOffsetX": -9999, "stampOffsetY": 9999,
    "stampPosition": "bottomright"})";

QJsonObject Object(const char *text)
{
    return QJsonDocument::fromJson(text).object();
}

} // namespace

class TestPageSettingsRecord : public QObject
{
    Q_OBJECT

private slots:
    // The default record writes every key with its type; a changed record survives a round
    // trip through its text; an empty object reads as the default, whatever the record held.
    void recordsRoundTripThroughTheirObject()
    {
        QCOMPARE(Written(PageSettingsRecord()), Object(kDefaultPage));
        const QJsonObject changed = Object(kEveryFieldChanged);
        QCOMPARE(changed.size(), Object(kDefaultPage).size());
        PageSettingsRecord record = ReadValidated(changed);
        QCOMPARE(Written(record), changed);
        const QByteArray text = QJsonDocument(Written(record)).toJson();
        QVERIFY2(!text.contains(".0") && !text.contains("e+"), text.constData());  // integers stay integers
        SettingsStore::ReadPageJson(record, QJsonObject());
        QVERIFY(record == PageSettingsRecord());
    }

    void storedValuesAreCheckedAndBroughtIntoRange_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("stored");
        QTest::addColumn<QJsonValue>("expected");
        // A value of the wrong JSON type, or no 32-bit integer, is the default.
        QTest::newRow("fraction for an int") << "jpegUpperLimit" << QJsonValue(2500.5) << QJsonValue(1000);
        QTest::newRow("string for an int") << "jpegUpperLimit" << QJsonValue("2500") << QJsonValue(1000);
        QTest::newRow("beyond 32 bits") << "viewListNum" << QJsonValue(3000000000.0) << QJsonValue(0);
        QTest::newRow("whole double is fine") << "resizeHeight" << QJsonValue(2e3) << QJsonValue(2000);
        QTest::newRow("number for a bool") << "generalSubFolder" << QJsonValue(0) << QJsonValue(true);
        QTest::newRow("number for a string") << "stampPosition" << QJsonValue(4) << QJsonValue("center");
        // Opacity and offsets are clamped; other numbers out of range take their default.
        QTest::newRow("opacity 150") << "stampOpaque" << QJsonValue(150) << QJsonValue(100);
        QTest::newRow("opacity -5") << "stampOpaque" << QJsonValue(-5) << QJsonValue(0);
        QTest::newRow("offset x 12000") << "stampOffsetX" << QJsonValue(12000) << QJsonValue(9999);
        QTest::newRow("offset y -12000") << "stampOffsetY" << QJsonValue(-12000) << QJsonValue(-9999);
        QTest::newRow("format 7") << "generalOutputFormat" << QJsonValue(7) << QJsonValue(1);
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
        // Texts: line breaks go and blanks are trimmed before the length (in UTF-16 units) is cut.
        QTest::newRow("name trimmed") << "tabName" << QJsonValue("  my\npage  ") << QJsonValue("mypage");
        QTest::newRow("name blank") << "tabName" << QJsonValue(" \n\t \n") << QJsonValue("");
        QTest::newRow("name cut") << "tabName" << QJsonValue(" " + QString(31, 'x') + "\U0001F600") << QJsonValue(QString(31, 'x') + QChar(0xD83D));
        QTest::newRow("input folder cut") << "generalInputDir" << QJsonValue(QString(241, 'i')) << QJsonValue(QString(240, 'i'));
        QTest::newRow("output folder cut") << "generalOutputDir" << QJsonValue(QString(300, 'o')) << QJsonValue(QString(240, 'o'));
        QTest::newRow("options cut") << "uniqueAddOptionStr" << QJsonValue(QString(201, 'a')) << QJsonValue(QString(200, 'a'));
        QTest::newRow("suffix not cut") << "suffix" << QJsonValue(QString(500, 's')) << QJsonValue(QString(500, 's'));
        QTest::newRow("unknown position kept") << "stampPosition" << QJsonValue("middle") << QJsonValue("middle");
    }

    // One bad value is replaced or brought into range; the other fields stay as they were.
    void storedValuesAreCheckedAndBroughtIntoRange()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, stored);
        QFETCH(QJsonValue, expected);
        QJsonObject back = Written(ReadValidated(QJsonObject{{key, stored}}));
        QCOMPARE(back.take(key), expected);
        QJsonObject defaults = Written(PageSettingsRecord());
        defaults.remove(key);
        QCOMPARE(back, defaults);
    }

    // A position outside the nine is used as the centre.
    void stampPositionOutsideTheNineIsTheCentre()
    {
        for (const char *word : {"topleft", "top", "topright", "left", "center", "right", "bottomleft", "bottom", "bottomright"})
            QCOMPARE(EffectiveStampPosition(word), QString(word));
        for (const char *word : {"middle", "TopLeft", ""})
            QCOMPARE(EffectiveStampPosition(word), QStringLiteral("center"));
    }
};

QTEST_APPLESS_MAIN(TestPageSettingsRecord)
#include "tst_pagesettingsrecord.moc"
