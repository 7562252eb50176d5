// The page's option checks, the shared engine arguments and the splitting of the
// additional-options text.

#include "pipeline/commandline.h"
#include "settings/pagesettingsrecord.h"

#include <QTemporaryDir>
#include <QtTest>

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

class TestCommandLine : public QObject
{
    Q_OBJECT

private slots:
    void defaultPageGivesTheAlwaysPassedOptionsInOrder()
    {
        PageSettingsRecord page;
        page.generalOutputFormat = OutputFormatSame;
        page.generalOptMarkWritee = false;
        DefaultOption option;
        ProcessControl control;
        OptionRefusal refusal;
        QVERIFY(SetDefaultOption(page, kIn, kOut, &option, &control, &refusal));
        QCOMPARE(option.inputDir, kIn);
        QCOMPARE(option.outputDir, kOut);
        QCOMPARE(control.subFolder, true);
        QCOMPARE(control.updateFile, false);
        QVERIFY(option.jpegfilesizelimit.isEmpty());
        QVERIFY(option.stampFile.isEmpty());
        QCOMPARE(BuildCommonOptions(option, control),
                 QStringList({"-jpegfixbaseline", "off", "-reducemode", "5", "-outformat", "same",
                              "-outext", "off", "-optmarkwrite", "off", "-optmarkskipin", "off",
                              "-optmarkskipout", "off", "-jpegqualitysafety", "on", "-jpegiccp",
                              "auto"}));
    }

    void formatIndexChoosesFormatAndExtensionSwitch()
    {
        const QStringList words{"auto", "same", "jpg", "png", "gif", "webp", "avif"};
        for (int index = -1; index <= 7; ++index) {
            PageSettingsRecord page;
            page.generalOutputFormat = index;
            const QStringList args = ArgsFor(page);
            const QString expected = (index >= 0 && index < 7) ? words.at(index) : QString("auto");
            QCOMPARE(ValueOf(args, "-outformat"), expected);
            QCOMPARE(ValueOf(args, "-outext"), expected == "same" ? QString("off") : QString("on"));
        }
    }

    void markSwitchAndSizeLimit()
    {
        PageSettingsRecord page;
        page.generalOptMarkWritee = true;
        QStringList args = ArgsFor(page);
        QCOMPARE(ValueOf(args, "-optmarkwrite"), QString("on"));
        QCOMPARE(ValueOf(args, "-optmarkskipin"), QString("auto"));
        QCOMPARE(ValueOf(args, "-optmarkskipout"), QString("off"));

        page.jpegFileSizeGroup = true;
        page.jpegUpperLimit = 250;
        page.jpegMaintainImageQual = false;
        args = ArgsFor(page);
        QCOMPARE(ValueOf(args, "-jpegfilesizelimit"), QString("250"));
        QVERIFY(!args.contains("-jpegfilesizelimithq"));
        // The limit sits between the mark options and the quality safety.
        QCOMPARE(args.indexOf("-jpegfilesizelimit"), args.indexOf("-optmarkskipout") + 2);

        page.jpegMaintainImageQual = true;
        args = ArgsFor(page);
        QCOMPARE(ValueOf(args, "-jpegfilesizelimithq"), QString("on"));

        for (int bad : {0, 100001, -5}) {
            page.jpegUpperLimit = bad;
            const OptionRefusal refusal = RefusalFor(page);
            QCOMPARE(refusal.message, Tr("JPEGファイル上限サイズの値が正しくありません。"));
            QCOMPARE(refusal.focusControl, QString("sizeAdjustmentLimitSpinBox"));
            QCOMPARE(refusal.detailsRow, 1);
        }
        // A limit that is switched off is not checked.
        page.jpegFileSizeGroup = false;
        QVERIFY(!ArgsFor(page).contains("-jpegfilesizelimit"));
    }

    void reducemodeRange()
    {
        PageSettingsRecord page;
        for (int value : {1, 8}) {
            page.balanceReducemode = value;
            QCOMPARE(ValueOf(ArgsFor(page), "-reducemode"), QString::number(value));
        }
        for (int value : {0, 9}) {
            page.balanceReducemode = value;
            const OptionRefusal refusal = RefusalFor(page);
            QCOMPARE(refusal.message, Tr("reducemodeが範囲外を示しています。"));
            QCOMPARE(refusal.focusControl, QString("reducemodeSlider"));
            QCOMPARE(refusal.detailsRow, -1);
        }
    }

    void resizeModesPassOnlyTheirOwnOptions()
    {
        PageSettingsRecord page;
        page.resizeGroup = true;
        page.resizeWidth = 640;
        page.resizeHeight = 480;
        page.resizeLongSide = 320;
        page.resizeMagnification = 50;
        page.resizeImageFit = 2;
        page.resizeSmallImage = false;
        page.resizeForm = 1;

        page.resizeRadio = ResizeModeImageFit;
        QStringList args = ArgsFor(page);
        const qsizetype fit = args.indexOf("-resizefit");
        QVERIFY(fit > 0);
        QCOMPARE(args.mid(fit, 10),
                 QStringList({"-resizefit", "outer", "-width", "640", "-height", "480",
                              "-resizenozoom", "off", "-resizealg", "balance"}));

        page.resizeRadio = ResizeModeMagnification;
        args = ArgsFor(page);
        QCOMPARE(ValueOf(args, "-zoom"), QString("50"));
        for (const char *other : {"-width", "-height", "-longside", "-resizefit"})
            QVERIFY2(!args.contains(other), other);

        page.resizeRadio = ResizeModeLongSide;
        args = ArgsFor(page);
        QCOMPARE(ValueOf(args, "-longside"), QString("320"));
        QVERIFY(!args.contains("-width") && !args.contains("-zoom"));

        page.resizeRadio = ResizeModeHeight;
        QCOMPARE(ValueOf(ArgsFor(page), "-height"), QString("480"));
        QVERIFY(!ArgsFor(page).contains("-width"));

        // An unknown mode index is the width mode.
        page.resizeRadio = 9;
        QCOMPARE(ValueOf(ArgsFor(page), "-width"), QString("640"));

        page.resizeGroup = false;
        args = ArgsFor(page);
        for (const char *other : {"-width", "-resizenozoom", "-resizealg"})
            QVERIFY2(!args.contains(other), other);
    }

    void resizeRefusalsCheckOnlyTheModesFields()
    {
        PageSettingsRecord page;
        page.resizeGroup = true;

        // Image fit checks the width first, then the height.
        page.resizeRadio = ResizeModeImageFit;
        page.resizeWidth = 0;
        page.resizeHeight = 0;
        OptionRefusal refusal = RefusalFor(page);
        QCOMPARE(refusal.message, Tr("幅指定の値が正しくありません。"));
        QCOMPARE(refusal.focusControl, QString("widthSpinBox"));
        QCOMPARE(refusal.detailsRow, 0);
        page.resizeWidth = 20000;
        refusal = RefusalFor(page);
        QCOMPARE(refusal.message, Tr("高さ指定がの値が正しくありません。"));
        QCOMPARE(refusal.focusControl, QString("heightSpinBox"));

        // Magnification checks only its own field, with its own range.
        page.resizeRadio = ResizeModeMagnification;
        page.resizeMagnification = 999;
        QCOMPARE(RefusalFor(page).message, QString("<accepted>"));
        page.resizeMagnification = 1000;
        refusal = RefusalFor(page);
        QCOMPARE(refusal.message, Tr("倍率指定の値が正しくありません。"));
        QCOMPARE(refusal.focusControl, QString("magnificationSpinBox"));

        page.resizeRadio = ResizeModeLongSide;
        page.resizeLongSide = 20001;
        refusal = RefusalFor(page);
        QCOMPARE(refusal.message, Tr("長辺指定がの値が正しくありません。"));
        QCOMPARE(refusal.focusControl, QString("longSideSpinBox"));

        // With resizing off, none of the fields matter.
        page.resizeGroup = false;
        QCOMPARE(RefusalFor(page).message, QString("<accepted>"));
    }

    void stampNeedsAnExistingFile()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString stamp = dir.filePath("logo dir/logo.png");
        QVERIFY(QDir().mkpath(dir.filePath("logo dir")));
        QFile file(stamp);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();

        PageSettingsRecord page;
        page.stampGroup = true;
        page.stampFile = dir.filePath("logo dir");   // a folder
        OptionRefusal refusal = RefusalFor(page);
        QCOMPARE(refusal.message, Tr("スタンプファイルが見つかりません。"));
        QCOMPARE(refusal.focusControl, QString("lineEdit_2"));
        QCOMPARE(refusal.detailsRow, 4);
        page.stampFile = dir.filePath("missing.png");
        QCOMPARE(RefusalFor(page).detailsRow, 4);

        page.stampFile = stamp;
        page.stampOpaque = 40;
        page.stampOffsetX = -12;
        page.stampOffsetY = 7;
        page.stampPosition = "nowhere";
        const QStringList args = ArgsFor(page);
        const qsizetype at = args.indexOf("-stamp");
        QVERIFY(at > 0);
        // The path with its blank stays one argument.
        QCOMPARE(args.mid(at, 10), QStringList({"-stamp", stamp, "-stampopaque", "40", "-stampx",
                                                "-12", "-stampy", "7", "-stamppos", "center"}));
        page.stampPosition = "bottomright";
        QCOMPARE(ValueOf(ArgsFor(page), "-stamppos"), QString("bottomright"));
    }

    void suffixCharacters()
    {
        PageSettingsRecord page;
        page.useSuffix = true;
        page.suffix = "_small";
        DefaultOption option;
        ProcessControl control;
        OptionRefusal refusal;
        QVERIFY(SetDefaultOption(page, kIn, kOut, &option, &control, &refusal));
        QCOMPARE(control.suffix, QString("_small"));

        for (const char *bad : {"a:b", "a/b", "a\\b", "a?", "a*", "a\"", "a<", "a>", "a|"}) {
            page.suffix = bad;
            refusal = RefusalFor(page);
            QCOMPARE(refusal.message, QString("末尾追加文字に使用不可の文字が使用されています。"));
            QCOMPARE(refusal.focusControl, QString("lineEdit"));
            QCOMPARE(refusal.detailsRow, 2);
        }
        // An unchecked suffix group is neither checked nor used.
        page.useSuffix = false;
        QVERIFY(SetDefaultOption(page, kIn, kOut, &option, &(control = ProcessControl()), &refusal));
        QVERIFY(control.suffix.isEmpty());
    }

    void additionalOptionRules()
    {
        const QString invalid = Tr("追加オプションの指定が無効です。");
        QString message;

        QVERIFY(CheckAddOption("", true, true, &message));
        QVERIFY(!CheckAddOption("-q", true, false, &message));
        QCOMPARE(message, invalid);
        QVERIFY(!CheckAddOption("quality 80", true, false, &message));
        QCOMPARE(message, invalid + "\n" + Tr("追加オプションは必ず「-」から始まります。"));
        const QString badChars = invalid + "\n" + Tr("使用不可の文字が使用されています。");
        QVERIFY(!CheckAddOption("-stamp C:\\logo?.png", true, false, &message));
        QCOMPARE(message, badChars);
        QVERIFY(!CheckAddOption("-quality=80", true, false, &message));
        QCOMPARE(message, badChars);
        QVERIFY(!CheckAddOption("-metadata strip;", false, false, &message));
        QCOMPARE(message, badChars);
        // A stamp path may hold what option words may not.
        QVERIFY(CheckAddOption("-stamp \"C:\\My Logos\\logo (1).png\"", true, false, &message));
        QVERIFY(CheckAddOption("-quality 80 -metadata strip", true, false, &message));

        const QString reserved = invalid + "\n" + Tr("デフォルトで使用されるオプションが指定されています。");
        QVERIFY(!CheckAddOption("-reducemode", true, false, &message));
        QCOMPARE(message, reserved);
        QVERIFY(CheckAddOption("-reducemode", false, false, &message));
        QVERIFY(CheckAddOption("-reducemode 3", true, false, &message));
        // The resize options are only reserved while resizing is on; the match is exact.
        QVERIFY(CheckAddOption("-width", true, false, &message));
        QVERIFY(!CheckAddOption("-width", true, true, &message));
        QVERIFY(CheckAddOption("-Width", true, true, &message));

        // Through the page: the refusal points at the additional-options field.
        PageSettingsRecord page;
        page.uniqueAddOption = true;
        page.uniqueAddOptionStr = "-reducemode";
        const OptionRefusal refusal = RefusalFor(page);
        QCOMPARE(refusal.message, reserved);
        QCOMPARE(refusal.focusControl, QString("addOptionLineEdit"));
        QCOMPARE(refusal.detailsRow, 5);

        // Accepted text goes to the end of the list, split; unchecked text is ignored.
        page.uniqueAddOptionStr = "-metadata strip -keepdate on";
        QCOMPARE(ArgsFor(page).mid(ArgsFor(page).size() - 4),
                 QStringList({"-metadata", "strip", "-keepdate", "on"}));
        page.uniqueAddOption = false;
        QVERIFY(!ArgsFor(page).contains("-metadata"));
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
        QTest::newRow("empty") << "" << QStringList{""};
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
