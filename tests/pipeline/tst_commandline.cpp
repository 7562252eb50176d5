// The page's option checks, the engine arguments they give and the additional-options text.

#include "pipeline/commandline.h"
#include "settings/pagesettingsrecord.h"

#include <QtTest>

#include <functional>

using PageChange = std::function<void(PageSettingsRecord &)>;
Q_DECLARE_METATYPE(PageChange)

namespace {

// The arguments for a changed default page, or the refusal's message, field and details row.
QStringList ArgsFor(const PageChange &change)
{
    PageSettingsRecord page;
    change(page);
    DefaultOption option;
    ProcessControl control;
    OptionRefusal refusal;
    if (!SetDefaultOption(page, QStringLiteral("/in/"), QStringLiteral("/out/"), &option, &control, &refusal))
        return {refusal.message, refusal.focusControl, QString::number(refusal.detailsRow)};
    return BuildCommonOptions(option, control);
}

QString Tr(const char *text)
{
    return QCoreApplication::translate("MainWindow", text);
}

} // namespace

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void pageGivesOptionsOrARefusal_data()
    {
        QTest::addColumn<PageChange>("change");
        QTest::addColumn<QStringList>("expected");  // a run of the arguments, or the refusal
        const QStringList always{"-jpegfixbaseline", "off", "-reducemode", "5", "-outformat", "same", "-outext", "off",
                                 "-optmarkwrite", "off", "-optmarkskipin", "off", "-optmarkskipout", "off",
                                 "-jpegqualitysafety", "on", "-jpegiccp", "auto"};
        QTest::newRow("default") << PageChange([](auto &p) { p.generalOptMarkWritee = false; }) << always;
        const QStringList words{"auto", "same", "jpg", "png", "gif", "webp", "avif", "auto"};
        for (int i = -1; i < 8; ++i)
            QTest::addRow("format %d", i) << PageChange([i](auto &p) { p.generalOutputFormat = i; })
                                          << QStringList{"-outformat", words.value(i, "auto"), "-outext", words.value(i, "auto") == "same" ? "off" : "on"};
        QTest::newRow("mark") << PageChange([](auto &p) { p.generalOptMarkWritee = true; }) << QStringList{"-optmarkwrite", "on", "-optmarkskipin", "auto"};
        QTest::newRow("size limit") << PageChange([](auto &p) { p.jpegFileSizeGroup = true; p.jpegUpperLimit = 250; })
                                    << QStringList{"-optmarkskipout", "off", "-jpegfilesizelimit", "250", "-jpegqualitysafety"};
        QTest::newRow("size limit hq") << PageChange([](auto &p) { p.jpegFileSizeGroup = true; p.jpegMaintainImageQual = true; }) << QStringList{"-jpegfilesizelimithq", "on"};
        QTest::newRow("image fit") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeImageFit = 2; p.resizeForm = 1; p.resizeSmallImage = false; })
                                   << QStringList{"-resizefit", "outer", "-width", "1000", "-height", "1000", "-resizenozoom", "off", "-resizealg", "balance"};
        QTest::newRow("magnification") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeMagnification; p.resizeMagnification = 50; })
                                       << QStringList{"-jpegiccp", "auto", "-zoom", "50", "-resizenozoom"};
        QTest::newRow("long side") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeLongSide; p.resizeLongSide = 320; })
                                   << QStringList{"-jpegiccp", "auto", "-longside", "320", "-resizenozoom"};
        QTest::newRow("height") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeHeight; }) << QStringList{"-jpegiccp", "auto", "-height", "1000", "-resizenozoom"};
        const QString stamp = QCoreApplication::applicationFilePath();  // any existing file will do
        QTest::newRow("stamp") << PageChange([stamp](auto &p) { p.stampGroup = true; p.stampFile = stamp; p.stampOpaque = 40; p.stampOffsetX = -12; p.stampOffsetY = 7; p.stampPosition = "nowhere"; })
                               << QStringList{"-stamp", stamp, "-stampopaque", "40", "-stampx", "-12", "-stampy", "7", "-stamppos", "center"};
        QTest::newRow("additional text last") << PageChange([](auto &p) { p.uniqueAddOption = true; p.uniqueAddOptionStr = "-metadata strip -keepdate on"; })
                                              << QStringList{"-jpegiccp", "auto", "-metadata", "strip", "-keepdate", "on"};
        // Switched-off groups give no options and are not checked.
        QTest::newRow("all off") << PageChange([](auto &p) { p.generalOptMarkWritee = false; p.jpegUpperLimit = 0; p.resizeWidth = 0; p.suffix = "a:b"; p.stampFile = "/no"; p.uniqueAddOptionStr = "-in"; })
                                 << always;
        // Refusals name the message, the field to focus and the details row.
        for (int bad : {0, 100001})
            QTest::addRow("limit %d", bad) << PageChange([bad](auto &p) { p.jpegFileSizeGroup = true; p.jpegUpperLimit = bad; })
                                           << QStringList{Tr("JPEGファイル上限サイズの値が正しくありません。"), "sizeAdjustmentLimitSpinBox", "1"};
        for (int bad : {0, 9})
            QTest::addRow("reducemode %d", bad) << PageChange([bad](auto &p) { p.balanceReducemode = bad; }) << QStringList{Tr("reducemodeが範囲外を示しています。"), "reducemodeSlider", "-1"};
        QTest::newRow("fit width") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeWidth = 0; p.resizeHeight = 0; }) << QStringList{Tr("幅指定の値が正しくありません。"), "widthSpinBox", "0"};
        QTest::newRow("fit height") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeHeight = 20001; }) << QStringList{Tr("高さ指定がの値が正しくありません。"), "heightSpinBox", "0"};
        QTest::newRow("magnification 1000") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeMagnification; p.resizeMagnification = 1000; })
                                            << QStringList{Tr("倍率指定の値が正しくありません。"), "magnificationSpinBox", "0"};
        QTest::newRow("long side 20001") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeLongSide; p.resizeLongSide = 20001; })
                                         << QStringList{Tr("長辺指定がの値が正しくありません。"), "longSideSpinBox", "0"};
        QTest::newRow("stamp folder") << PageChange([](auto &p) { p.stampGroup = true; p.stampFile = "/"; }) << QStringList{Tr("スタンプファイルが見つかりません。"), "lineEdit_2", "4"};
        for (const char *bad : {"a:b", "a/b", "a\\b", "a?", "a*", "a\"", "a<", "a>", "a|"})
            QTest::addRow("suffix %s", bad) << PageChange([bad](auto &p) { p.useSuffix = true; p.suffix = bad; }) << QStringList{"末尾追加文字に使用不可の文字が使用されています。", "lineEdit", "2"};
        // The additional text: its form, and no option the application passes itself (the resize
        // ones only while resizing is on, compared exactly).
        const auto extra = [](const QString &text, bool resize = false) {
            return PageChange([text, resize](auto &p) { std::tie(p.uniqueAddOption, p.uniqueAddOptionStr, p.resizeGroup) = std::tuple(true, text, resize); });
        };
        const QString invalid = Tr("追加オプションの指定が無効です。");
        const QString reserved = invalid + "\n" + Tr("デフォルトで使用されるオプションが指定されています。");
        const QString badChars = invalid + "\n" + Tr("使用不可の文字が使用されています。");
        QTest::newRow("extra: a word alone") << extra("-q") << QStringList{invalid, "addOptionLineEdit", "5"};
        QTest::newRow("extra: no dash") << extra("quality 80") << QStringList{invalid + "\n" + Tr("追加オプションは必ず「-」から始まります。"), "addOptionLineEdit", "5"};
        QTest::newRow("extra: ? in a path") << extra("-stamp C:\\logo?.png") << QStringList{badChars, "addOptionLineEdit", "5"};
        QTest::newRow("extra: =") << extra("-quality=80") << QStringList{badChars, "addOptionLineEdit", "5"};
        QTest::newRow("extra: quoted path") << extra("-stamp \"C:\\My Logos\\logo (1).png\"") << QStringList{"-stamp", "C:\\My Logos\\logo (1).png"};
        QTest::newRow("extra: two options") << extra("-quality 80 -metadata strip") << QStringList{"-quality", "80", "-metadata", "strip"};
        QTest::newRow("extra: a resize word in another case") << extra("-Width", true) << QStringList{"-resizealg", "quality", "-Width"};
        QTest::newRow("extra: a passed word with a value") << extra("-reducemode 3") << QStringList{"-jpegiccp", "auto", "-reducemode", "3"};
        for (const char *word : {"-jpegfixbaseline", "-reducemode", "-outformat", "-outext", "-in", "-out", "-jpegqualitysafety",
                                 "-jpegfilesizelimit", "-jpegfilesizelimithq", "-jpegiccp", "-stamp", "-stamppos", "-stampx", "-stampy", "-stampopaque"})
            QTest::addRow("extra: %s", word) << extra(word) << QStringList{reserved, "addOptionLineEdit", "5"};
        for (const char *word : {"-width", "-height", "-longside", "-zoom", "-resizealg", "-resizenozoom", "-resizefit"}) {
            QTest::addRow("extra: %s, resizing off", word) << extra(word) << QStringList{"-jpegiccp", "auto", word};
            QTest::addRow("extra: %s, resizing on", word) << extra(word, true) << QStringList{reserved, "addOptionLineEdit", "5"};
        }
    }

    // Page fields become engine options in their order; a value out of range names its field.
    void pageGivesOptionsOrARefusal()
    {
        QFETCH(PageChange, change);
        QFETCH(QStringList, expected);
        const QStringList args = ArgsFor(change);
        const qsizetype at = args.indexOf(expected.first());
        QVERIFY2(at >= 0 && args.mid(at, expected.size()) == expected, qPrintable(args.join(' ')));
        if (at == 0)  // a whole list: nothing may follow
            QCOMPARE(args, expected);
    }


    // The additional text is split on blanks, quotes keeping blanks and joining their neighbours.
    void additionalTextSplits()
    {
        QCOMPARE(SplitOptionText("  -stamp \"C:\\my logo.png\"  -a x\"y z\"w -b \"c d"),
                 QStringList({"-stamp", "C:\\my logo.png", "", "-a", "xy zw", "-b", "c d"}));
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
