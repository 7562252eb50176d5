#include "pipeline/commandline.h"

#include "pipeline/pipelinelog.h"
#include "settings/pagesettingsrecord.h"
#include "validation/pathrules.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

QString Tr(const char *text)
{
    return QCoreApplication::translate("MainWindow", text);
}

QString OnOff(bool on)
{
    return on ? QStringLiteral("on") : QStringLiteral("off");
}

// A choice index outside the list stands for the list's first word, as the form's combo
// boxes do.
QString WordAt(const QStringList &words, int index)
{
    return (index >= 0 && index < words.size()) ? words.at(index) : words.first();
}

const QStringList &IccWords()
{
    static const QStringList words{QStringLiteral("auto"), QStringLiteral("keep"),
                                   QStringLiteral("convert"), QStringLiteral("remove")};
    return words;
}

const QStringList &ResizeModeWords()
{
    static const QStringList words{QStringLiteral("width"), QStringLiteral("height"),
                                   QStringLiteral("longSide"), QStringLiteral("magni"),
                                   QStringLiteral("imageFit")};
    return words;
}

const QStringList &ResizeFitWords()
{
    static const QStringList words{QStringLiteral("within"), QStringLiteral("inner"),
                                   QStringLiteral("outer"), QStringLiteral("middle"),
                                   QStringLiteral("fit")};
    return words;
}

const QStringList &ResizeAlgWords()
{
    static const QStringList words{QStringLiteral("quality"), QStringLiteral("balance"),
                                   QStringLiteral("speed")};
    return words;
}

// Options the application always passes; repeating one of them alone in the additional text
// would make the engine refuse the whole run.
const QStringList &ReservedOptions()
{
    static const QStringList words{
        QStringLiteral("-jpegfixbaseline"), QStringLiteral("-reducemode"),
        QStringLiteral("-outformat"),       QStringLiteral("-outext"),
        QStringLiteral("-in"),              QStringLiteral("-out"),
        QStringLiteral("-jpegqualitysafety"), QStringLiteral("-jpegfilesizelimit"),
        QStringLiteral("-jpegfilesizelimithq"), QStringLiteral("-jpegiccp"),
        QStringLiteral("-stamp"),           QStringLiteral("-stamppos"),
        QStringLiteral("-stampx"),          QStringLiteral("-stampy"),
        QStringLiteral("-stampopaque")};
    return words;
}

const QStringList &ReservedResizeOptions()
{
    static const QStringList words{QStringLiteral("-width"),      QStringLiteral("-height"),
                                   QStringLiteral("-longside"),   QStringLiteral("-zoom"),
                                   QStringLiteral("-resizealg"),  QStringLiteral("-resizenozoom"),
                                   QStringLiteral("-resizefit")};
    return words;
}

bool InRange(int value, int low, int high)
{
    return value >= low && value <= high;
}

bool Refuse(OptionRefusal *refusal, const QString &message, const char *control, int row)
{
    if (refusal != nullptr) {
        refusal->message = message;
        refusal->focusControl = QString::fromLatin1(control);
        refusal->detailsRow = row;
    }
    qCDebug(lcPipeline) << "SetDefaultOption refused :" << message;
    return false;
}

} // namespace

const QStringList &OutputFormatWords()
{
    static const QStringList words{QStringLiteral("auto"), QStringLiteral("same"),
                                   QStringLiteral("jpg"),  QStringLiteral("png"),
                                   QStringLiteral("gif"),  QStringLiteral("webp"),
                                   QStringLiteral("avif")};
    return words;
}

bool SetDefaultOption(const PageSettingsRecord &page, const QString &inputDir,
                      const QString &outputDir, DefaultOption *option, ProcessControl *control,
                      OptionRefusal *refusal)
{
    qCDebug(lcPipeline) << "==========SetDefaultOption S==========";

    control->subFolder = page.generalSubFolder;
    control->updateFile = page.generalUpdateFile;
    option->optmarkwrite = OnOff(page.generalOptMarkWritee);

    option->outformat = WordAt(OutputFormatWords(), page.generalOutputFormat);
    option->outext = OnOff(option->outformat != QLatin1String("same"));

    option->inputDir = inputDir;
    option->outputDir = outputDir;

    if (!InRange(page.balanceReducemode, PageLimits::kReducemodeMin, PageLimits::kReducemodeMax))
        return Refuse(refusal, Tr("reducemodeが範囲外を示しています。"), "reducemodeSlider", -1);
    option->reducemode = QString::number(page.balanceReducemode);

    control->sizeAdjustment = page.jpegFileSizeGroup;
    if (control->sizeAdjustment) {
        if (!InRange(page.jpegUpperLimit, PageLimits::kJpegUpperLimitMin,
                     PageLimits::kJpegUpperLimitMax))
            return Refuse(refusal, Tr("JPEGファイル上限サイズの値が正しくありません。"),
                          "sizeAdjustmentLimitSpinBox", DetailsRow::kJpegFileSize);
        option->jpegfilesizelimit = QString::number(page.jpegUpperLimit);
        option->jpegfilesizelimithq = OnOff(page.jpegMaintainImageQual);
    }

    control->createLogFile = page.uniqueLogFile;
    option->jpegqualitysafety = OnOff(page.uniqueImageSuppression);
    option->jpegfixbaseline = OnOff(page.uniqueBaseLineJPEG);
    option->jpegiccp = WordAt(IccWords(), page.uniqueICC);

    control->resize = page.resizeGroup;
    if (control->resize) {
        // The form's radio buttons: anything but height, long side, magnification or image
        // fit is the width mode.
        control->resizeMode = WordAt(ResizeModeWords(), page.resizeRadio);
        const QString &mode = control->resizeMode;
        const bool fit = mode == QLatin1String("imageFit");
        const int sizeMin = PageLimits::kResizeSizeMin, sizeMax = PageLimits::kResizeSizeMax;
        if (mode == QLatin1String("width") || fit) {
            if (!InRange(page.resizeWidth, sizeMin, sizeMax))
                return Refuse(refusal, Tr("幅指定の値が正しくありません。"), "widthSpinBox",
                              DetailsRow::kResize);
            option->width = QString::number(page.resizeWidth);
        }
        if (mode == QLatin1String("height") || fit) {
            if (!InRange(page.resizeHeight, sizeMin, sizeMax))
                return Refuse(refusal, Tr("高さ指定がの値が正しくありません。"), "heightSpinBox",
                              DetailsRow::kResize);
            option->height = QString::number(page.resizeHeight);
        }
        if (mode == QLatin1String("longSide")) {
            if (!InRange(page.resizeLongSide, sizeMin, sizeMax))
                return Refuse(refusal, Tr("長辺指定がの値が正しくありません。"), "longSideSpinBox",
                              DetailsRow::kResize);
            option->longside = QString::number(page.resizeLongSide);
        }
        if (mode == QLatin1String("magni")) {
            if (!InRange(page.resizeMagnification, PageLimits::kMagnificationMin,
                         PageLimits::kMagnificationMax))
                return Refuse(refusal, Tr("倍率指定の値が正しくありません。"),
                              "magnificationSpinBox", DetailsRow::kResize);
            option->zoom = QString::number(page.resizeMagnification);
        }
        if (fit)
            option->resizefit = WordAt(ResizeFitWords(), page.resizeImageFit);
        option->resizenozoom = OnOff(page.resizeSmallImage);
        option->resizealg = WordAt(ResizeAlgWords(), page.resizeForm);
    }

    control->stamp = page.stampGroup;
    if (control->stamp) {
        option->stampFile = page.stampFile;
        if (!QFileInfo(page.stampFile).isFile())
            return Refuse(refusal, Tr("スタンプファイルが見つかりません。"), "lineEdit_2",
                          DetailsRow::kStamp);
        option->stampopaque = QString::number(page.stampOpaque);
        option->stampx = QString::number(page.stampOffsetX);
        option->stampy = QString::number(page.stampOffsetY);
        option->stamppos = EffectiveStampPosition(page.stampPosition);
    }

    control->addOption = false;
    if (page.uniqueAddOption) {
        QString message;
        if (!CheckAddOption(page.uniqueAddOptionStr, true, control->resize, &message))
            return Refuse(refusal, message, "addOptionLineEdit", DetailsRow::kSpecial);
        control->addOption = true;
        option->addOptionText = page.uniqueAddOptionStr;
    }

    if (page.useSuffix) {
        if (!HasNoUnusableCharacters(page.suffix, true))
            // Shown as written: this text has no entry in the translation.
            return Refuse(refusal,
                          QStringLiteral("末尾追加文字に使用不可の文字が使用されています。"),
                          "lineEdit", DetailsRow::kSuffix);
        control->suffix = page.suffix;
    }

    qCDebug(lcPipeline) << "==========SetDefaultOption E==========";
    return true;
}

bool CheckAddOption(const QString &text, bool recheck, bool resize, QString *message)
{
    qCDebug(lcPipeline) << text << "recheck" << recheck << "resize" << resize;
    const QString invalid = Tr("追加オプションの指定が無効です。");
    auto refuse = [&](const QString &why) {
        if (message != nullptr)
            *message = why;
        return false;
    };

    if (text.isEmpty())
        return true;
    if (!text.startsWith(u'-'))
        return refuse(invalid + u'\n' + Tr("追加オプションは必ず「-」から始まります。"));
    if (text.size() < 3)
        return refuse(invalid);

    // A stamp option may carry a file path, so only the characters no path can hold are
    // refused then; otherwise only what option words and numbers are made of is allowed.
    static const QRegularExpression pathForbidden(QStringLiteral("[*?<>|]+"));
    static const QRegularExpression optionAllowed(QStringLiteral("[A-Za-z0-9\\s\\+\\-,%\\#]+"));
    QString copy = text;
    const bool ok = text.contains(QLatin1String("-stamp"))
                        ? copy.remove(pathForbidden) == text
                        : copy.remove(optionAllowed).isEmpty();
    if (!ok)
        return refuse(invalid + u'\n' + Tr("使用不可の文字が使用されています。"));

    if (!recheck)
        return true;
    if (ReservedOptions().contains(text) || (resize && ReservedResizeOptions().contains(text)))
        return refuse(invalid + u'\n' + Tr("デフォルトで使用されるオプションが指定されています。"));
    return true;
}

QStringList BuildCommonOptions(const DefaultOption &option, const ProcessControl &control)
{
    QStringList args;
    auto add = [&args](const char *name, const QString &value) {
        args << QString::fromLatin1(name) << value;
        qCDebug(lcPipeline) << args;
    };

    add("-jpegfixbaseline", option.jpegfixbaseline);
    add("-reducemode", option.reducemode);
    add("-outformat", option.outformat);
    add("-outext", option.outext);
    add("-optmarkwrite", option.optmarkwrite);
    add("-optmarkskipin", option.optmarkwrite == QLatin1String("on") ? QStringLiteral("auto")
                                                                     : QStringLiteral("off"));
    add("-optmarkskipout", QStringLiteral("off"));
    if (control.sizeAdjustment) {
        add("-jpegfilesizelimit", option.jpegfilesizelimit);
        if (option.jpegfilesizelimithq == QLatin1String("on"))
            add("-jpegfilesizelimithq", QStringLiteral("on"));
    }
    add("-jpegqualitysafety", option.jpegqualitysafety);
    add("-jpegiccp", option.jpegiccp);
    if (control.resize) {
        const QString &mode = control.resizeMode;
        if (mode == QLatin1String("width")) {
            add("-width", option.width);
        } else if (mode == QLatin1String("height")) {
            add("-height", option.height);
        } else if (mode == QLatin1String("longSide")) {
            add("-longside", option.longside);
        } else if (mode == QLatin1String("magni")) {
            add("-zoom", option.zoom);
        } else if (mode == QLatin1String("imageFit")) {
            add("-resizefit", option.resizefit);
            add("-width", option.width);
            add("-height", option.height);
        }
        add("-resizenozoom", option.resizenozoom);
        add("-resizealg", option.resizealg);
    }
    if (control.stamp) {
        add("-stamp", option.stampFile);
        add("-stampopaque", option.stampopaque);
        add("-stampx", option.stampx);
        add("-stampy", option.stampy);
        add("-stamppos", option.stamppos);
    }
    if (control.addOption && !option.addOptionText.isEmpty()) {
        args << SplitOptionText(option.addOptionText);
        qCDebug(lcPipeline) << args;
    }
    return args;
}

QStringList SplitOptionText(const QString &text)
{
    QStringList pieces;
    QString piece;
    bool inQuotes = false;
    for (const QChar ch : text.trimmed()) {
        if (ch == u'"') {
            inQuotes = !inQuotes;
        } else if (ch == u' ' && !inQuotes) {
            pieces << piece;
            piece.clear();
        } else {
            piece += ch;
        }
    }
    pieces << piece;
    return pieces;
}
