// The page's option checks, the shared engine arguments and the splitting of the
// additional-options text.

#include "pipeline/commandline.h"
#include "settings/pagesettingsrecord.h"

#include <QTemporaryDir>
#include <QtTest>

#include <functional>

namespace {

const QString kIn = QStringLiteral("/in/");
const QString kOut = QStringLiteral("/out/");

QStringList ArgsFor(const PageSettingsRecord &page)
{
    DefaultOption option;
    ProcessControl control;
    OptionRefusal refusal;
    if (!SetDefaultOption(page, kIn, kOut, &option, &control, &refusal)) {
        qWarning() << "refused:" << refusal.message;
        return {QStringLiteral("<refused>")};
    }
    return BuildCommonOptions(option, control);
}

OptionRefusal RefusalFor(const PageSettingsRecord &page)
{
    DefaultOption option;
    ProcessControl control;
    OptionRefusal refusal;
    if (SetDefaultOption(page, kIn, kOut, &option, &control, &refusal))
        refusal.message = QStringLiteral("<accepted>");
    return refusal;
}

QString Tr(const char *text)
{
    return QCoreApplication::translate("MainWindow", text);
}

// The value that follows an option in an argument list, or "<absent>".
QString ValueOf(const QStringList &args, const QString &option)
{
    const qsizetype at = args.indexOf(option);
    return (at < 0 || at + 1 >= args.size()) ? QStringLiteral("<absent>") : args.at(at + 1);
}

} // namespace

using PageChange = std::function<void(PageSettingsRecord &)>;
Q_DECLARE_METATYPE(PageChange)

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void defaultPageGivesTheAlwaysPassedOptionsInOrder()
    {
        PageSettingsRecord page;
        page.generalOptMarkWritee = false;
        QCOMPARE(ArgsFor(page),
                 QStringList({"-jpegfixbaseline", "off", "-reducemode", "5", "-outformat", "same",
                              "-outext", "off", "-optmarkwrite", "off", "-optmarkskipin", "off",
                              "-optmarkskipout", "off", "-jpegqualitysafety", "on", "-jpegiccp",
                              "auto"}));
        // The format index chooses the format word and the extension switch; outside the
        // list it stands for the first word.
        const QStringList words{"auto", "same", "jpg", "png", "gif", "webp", "avif"};
        for (int index = -1; index <= 7; ++index) {
            page.generalOutputFormat = index;
            const QString expected = (index >= 0 && index < 7) ? words.at(index) : QString("auto");
            QCOMPARE(ValueOf(ArgsFor(page), "-outformat"), expected);
            QCOMPARE(ValueOf(ArgsFor(page), "-outext"), expected == "same" ? QString("off") : QString("on"));
        }
    }

    void pageFieldsBecomeOptions_data()
    {
        QTest::addColumn<PageChange>("change");
        QTest::addColumn<QStringList>("expected"); // a run of the argument list
        QTest::addColumn<QStringList>("absent");
        QTest::newRow("mark") << PageChange([](auto &p) { p.generalOptMarkWritee = true; })
                              << QStringList{"-optmarkwrite", "on", "-optmarkskipin", "auto", "-optmarkskipout", "off"}
                              << QStringList{"-jpegfilesizelimit"};
        QTest::newRow("size limit") << PageChange([](auto &p) { p.jpegFileSizeGroup = true; p.jpegUpperLimit = 250; })
                                    << QStringList{"-optmarkskipout", "off", "-jpegfilesizelimit", "250",
                                                   "-jpegqualitysafety"}
                                    << QStringList{"-jpegfilesizelimithq"};
        QTest::newRow("size limit hq") << PageChange([](auto &p) { p.jpegFileSizeGroup = true; p.jpegMaintainImageQual = true; })
                                       << QStringList{"-jpegfilesizelimithq", "on"} << QStringList{};
        QTest::newRow("limit off") << PageChange([](auto &p) { p.jpegUpperLimit = 0; })
                                   << QStringList{} << QStringList{"-jpegfilesizelimit"};
        QTest::newRow("reducemode edge") << PageChange([](auto &p) { p.balanceReducemode = 8; })
                                         << QStringList{"-reducemode", "8"} << QStringList{};
        QTest::newRow("image fit") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeImageFit = 2; p.resizeForm = 1;
                                                               p.resizeSmallImage = false; p.resizeWidth = 640; p.resizeHeight = 480; })
                                   << QStringList{"-resizefit", "outer", "-width", "640", "-height", "480",
                                                  "-resizenozoom", "off", "-resizealg", "balance"}
                                   << QStringList{"-zoom", "-longside"};
        QTest::newRow("magnification") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeMagnification;
                                                                   p.resizeMagnification = 50; })
                                       << QStringList{"-zoom", "50"} << QStringList{"-width", "-height", "-longside", "-resizefit"};
        QTest::newRow("long side") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeLongSide;
                                                               p.resizeLongSide = 320; })
                                   << QStringList{"-longside", "320"} << QStringList{"-width", "-zoom"};
        QTest::newRow("height") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeHeight; })
                                << QStringList{"-height", "1000"} << QStringList{"-width"};
        QTest::newRow("unknown mode is width") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = 9; })
                                               << QStringList{"-width", "1000"} << QStringList{"-height"};
        QTest::newRow("resize off") << PageChange([](auto &p) { p.resizeWidth = 0; })
                                    << QStringList{} << QStringList{"-width", "-resizenozoom", "-resizealg"};
        QTest::newRow("additional text last, split")
            << PageChange([](auto &p) { p.uniqueAddOption = true; p.uniqueAddOptionStr = "-metadata strip -keepdate on"; })
            << QStringList{"-jpegiccp", "auto", "-metadata", "strip", "-keepdate", "on"} << QStringList{};
        QTest::newRow("additional text off") << PageChange([](auto &p) { p.uniqueAddOptionStr = "-metadata strip"; })
                                             << QStringList{} << QStringList{"-metadata"};
    }

    void pageFieldsBecomeOptions()
    {
        QFETCH(PageChange, change);
        QFETCH(QStringList, expected);
        QFETCH(QStringList, absent);
        PageSettingsRecord page;
        change(page);
        const QStringList args = ArgsFor(page);
        const qsizetype at = expected.isEmpty() ? 0 : args.indexOf(expected.first());
        QVERIFY2(at >= 0 && args.mid(at, expected.size()) == expected, qPrintable(args.join(' ')));
        for (const QString &word : absent)
            QVERIFY2(!args.contains(word), qPrintable(word));
    }

    void stampArguments()
    {
        QTemporaryDir dir;
        QVERIFY(QDir().mkpath(dir.filePath("logo dir")));
        const QString stamp = dir.filePath("logo dir/logo.png");
        QFile file(stamp);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        PageSettingsRecord page;
        page.stampGroup = true;
        page.stampFile = stamp;
        page.stampOpaque = 40;
        page.stampOffsetX = -12;
        page.stampOffsetY = 7;
        page.stampPosition = "nowhere";
        const QStringList args = ArgsFor(page);
        // The path with its blank stays one argument; an unknown position is the centre.
        QCOMPARE(args.mid(args.indexOf("-stamp"), 10), QStringList({"-stamp", stamp, "-stampopaque", "40", "-stampx",
                                                                    "-12", "-stampy", "7", "-stamppos", "center"}));
        page.stampFile = dir.filePath("logo dir"); // a folder
        QCOMPARE(RefusalFor(page).detailsRow, 4);
    }

    void refusalsNameTheFieldToFix_data()
    {
        QTest::addColumn<PageChange>("change");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("focus");
        QTest::addColumn<int>("row");
        const QString limit = Tr("JPEGファイル上限サイズの値が正しくありません。");
        for (int bad : {0, 100001})
            QTest::addRow("limit %d", bad) << PageChange([bad](auto &p) { p.jpegFileSizeGroup = true; p.jpegUpperLimit = bad; })
                                           << limit << "sizeAdjustmentLimitSpinBox" << 1;
        for (int bad : {0, 9})
            QTest::addRow("reducemode %d", bad) << PageChange([bad](auto &p) { p.balanceReducemode = bad; })
                                                << Tr("reducemodeが範囲外を示しています。") << "reducemodeSlider" << -1;
        // Image fit checks the width first, then the height; each mode only its own fields.
        QTest::newRow("fit width") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeWidth = 0; p.resizeHeight = 0; })
                                   << Tr("幅指定の値が正しくありません。") << "widthSpinBox" << 0;
        QTest::newRow("fit height") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeHeight = 20001; })
                                    << Tr("高さ指定がの値が正しくありません。") << "heightSpinBox" << 0;
        QTest::newRow("magnification") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeWidth = 0;
                                                                   p.resizeRadio = ResizeModeMagnification; p.resizeMagnification = 1000; })
                                       << Tr("倍率指定の値が正しくありません。") << "magnificationSpinBox" << 0;
        QTest::newRow("long side") << PageChange([](auto &p) { p.resizeGroup = true; p.resizeRadio = ResizeModeLongSide;
                                                               p.resizeLongSide = 20001; })
                                   << Tr("長辺指定がの値が正しくありません。") << "longSideSpinBox" << 0;
        QTest::newRow("missing stamp") << PageChange([](auto &p) { p.stampGroup = true; p.stampFile = "/no/such/logo.png"; })
                                       << Tr("スタンプファイルが見つかりません。") << "lineEdit_2" << 4;
        for (const char *bad : {"a:b", "a/b", "a\\b", "a?", "a*", "a\"", "a<", "a>", "a|"})
            QTest::addRow("suffix %s", bad) << PageChange([bad](auto &p) { p.useSuffix = true; p.suffix = bad; })
                                            << QString("末尾追加文字に使用不可の文字が使用されています。") << "lineEdit" << 2;
        QTest::newRow("additional") << PageChange([](auto &p) { p.uniqueAddOption = true; p.uniqueAddOptionStr = "-reducemode"; })
                                    << Tr("追加オプションの指定が無効です。") + "\n"
                                           + Tr("デフォルトで使用されるオプションが指定されています。")
                                    << "addOptionLineEdit" << 5;
        // Switched-off groups are not checked.
        QTest::newRow("all off") << PageChange([](auto &p) { p.jpegUpperLimit = 0; p.resizeWidth = 0; p.suffix = "a:b";
                                                             p.stampFile = "/no"; p.uniqueAddOptionStr = "-in"; })
                                 << "<accepted>" << "" << 0;
    }

    void refusalsNameTheFieldToFix()
    {
        QFETCH(PageChange, change);
        QFETCH(QString, message);
        QFETCH(QString, focus);
        QFETCH(int, row);
        PageSettingsRecord page;
        change(page);
        const OptionRefusal refusal = RefusalFor(page);
        QCOMPARE(refusal.message, message);
        if (message != QLatin1String("<accepted>")) {
            QCOMPARE(refusal.focusControl, focus);
            QCOMPARE(refusal.detailsRow, row);
        }
    }

    void additionalOptionRules()
    {
        const QString invalid = Tr("追加オプションの指定が無効です。");
        const QString badChars = invalid + "\n" + Tr("使用不可の文字が使用されています。");
        const QString reserved = invalid + "\n" + Tr("デフォルトで使用されるオプションが指定されています。");
        struct Case { const char *text; bool resize; QString message; };
        const Case cases[] = {
            {"", false, {}},
            {"-q", false, invalid},
            {"quality 80", false, invalid + "\n" + Tr("追加オプションは必ず「-」から始まります。")},
            {"-stamp C:\\logo?.png", false, badChars},
            {"-quality=80", false, badChars},
            // A stamp path may hold what option words may not.
            {"-stamp \"C:\\My Logos\\logo (1).png\"", false, {}},
            {"-quality 80 -metadata strip", false, {}},
            {"-reducemode 3", false, {}},
            // The resize options are reserved only while resizing is on; the match is exact.
            {"-width", false, {}},
            {"-Width", true, {}},
        };
        QString message;
        for (const Case &c : cases) {
            message.clear();
            QCOMPARE(CheckAddOption(c.text, true, c.resize, &message), c.message.isEmpty());
            QCOMPARE(message, c.message);
        }
        QVERIFY(!CheckAddOption("-metadata strip;", false, false, &message));
        QVERIFY(CheckAddOption("-reducemode", false, false, &message)); // the check of one word is off
        // A reserved option alone would make the engine refuse every file.
        for (const char *word : {"-jpegfixbaseline", "-reducemode", "-outformat", "-outext", "-in", "-out",
                                 "-jpegqualitysafety", "-jpegfilesizelimit", "-jpegfilesizelimithq", "-jpegiccp",
                                 "-stamp", "-stamppos", "-stampx", "-stampy", "-stampopaque"}) {
            QVERIFY2(!CheckAddOption(word, true, false, &message), word);
            QCOMPARE(message, reserved);
        }
        for (const char *word : {"-width", "-height", "-longside", "-zoom", "-resizealg", "-resizenozoom", "-resizefit"}) {
            QVERIFY2(CheckAddOption(word, true, false, &message), word);
            QVERIFY2(!CheckAddOption(word, true, true, &message), word);
        }
    }

    void splitOptionText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("pieces");
        QTest::newRow("quoted path") << "-stamp \"C:\\my logo.png\" -stampx 10"
                                     << QStringList{"-stamp", "C:\\my logo.png", "-stampx", "10"};
        QTest::newRow("surrounding blanks") << "  -a 1  " << QStringList{"-a", "1"};
        QTest::newRow("double blank") << "-a  1" << QStringList{"-a", "", "1"};
        QTest::newRow("unclosed quote") << "-a \"b c" << QStringList{"-a", "b c"};
        QTest::newRow("quote inside word") << "-a x\"y z\"w" << QStringList{"-a", "xy zw"};
    }

    void splitOptionText()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, pieces);
        QCOMPARE(SplitOptionText(text), pieces);
    }
};

QTEST_APPLESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
