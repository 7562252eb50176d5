// The page editor form on real widgets: its record, the rules between its controls, the drops
// on its folder boxes and the requests it passes to the window. Clicks and keys go through QTest.

#include "mainwindow/folderpickers.h"
#include "mainwindow/tabtemplate.h"
#include "pipeline/commandline.h"
#include "settings/settingsstore.h"
#include "tests/mainwindow/modalcloser.h"
#include "ui_tabtemplate.h"
#include "widgets/dk_textcombox.h"

#include <QDesktopServices>
#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>

#include <memory>

namespace {

QByteArray Json(const PageSettingsRecord& record)
{
    QJsonObject object;
    SettingsStore::WritePageJson(record, object);
    return QJsonDocument(object).toJson();
}

// Delivers a drop the way a window routes it: to the innermost widget under the point that
// accepts drops, which for an editable box is its line edit.
void DropOn(QWidget* box, const QList<QUrl>& urls)
{
    QMimeData mime;
    mime.setUrls(urls);
    // File managers offer the addresses as plain text too, which a line edit would paste.
    QStringList texts;
    for (const QUrl& url : urls)
        texts.append(url.toString());
    mime.setText(texts.join(u'\n'));
    QWidget* top = box->window();
    const QPoint at = box->mapTo(top, box->rect().center());
    QWidget* target = top->childAt(at);
    while (target != nullptr && !target->acceptDrops())
        target = target->parentWidget();
    QVERIFY(target != nullptr);
    const QPoint local = target->mapFrom(top, at);
    QDragEnterEvent enter(local, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent drop(QPointF(local), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &drop);
}

} // namespace

class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    QList<QUrl> opened;
public slots:
    void open(const QUrl& url) { opened.append(url); }
};

class TestTabTemplate : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup() { form.reset(); }

    void newPageShowsTheDefaultRecord();
    void loadThenSaveGivesTheRecordBack_data();
    void loadThenSaveGivesTheRecordBack();
    void outputFormatGatesTheJpegSizeGroup();
    void resizeModeEnablesItsFields();
    void optionTextFollowsItsSwitch();
    void pairedControlsStayInStep();
    void folderBoxesTakeOneDroppedFolder();
    void boxesRefuseTooLongTexts();
    void refusalShowsItsControl();
    void buttonsAskTheWindow();
    void folderMenuOpensInTheFileManager();

private:
    std::unique_ptr<TabTemplate> form;
    Ui::TabTemplate* ui = nullptr;
    QTranslator translator;
};

void TestTabTemplate::initTestCase()
{
    QVERIFY(translator.load(QStringLiteral(":/translation/DKDesktop_ja_JP.qm")));
    QCoreApplication::installTranslator(&translator);
}

void TestTabTemplate::init()
{
    form = std::make_unique<TabTemplate>();
    ui = form->ui;
    form->Initialization();
    form->resize(690, 520);
    form->show();
    QVERIFY(QTest::qWaitForWindowExposed(form.get()));
}

void TestTabTemplate::newPageShowsTheDefaultRecord()
{
    PageSettingsRecord saved;
    saved.generalSubFolder = false; // anything the form fails to write would stay like this
    form->SavePageFromForm(saved);
    QCOMPARE(Json(saved), Json(PageSettingsRecord()));
    QCOMPARE(ui->outputFormatComboBox->currentText(), QStringLiteral("入力画像と同じ"));
    QCOMPARE(ui->reducemodeNumberLabel->text(), QStringLiteral("5"));
    QCOMPARE(ui->label_4->text(), QStringLiteral("sample.jpg"));
    QVERIFY(ui->imageFitRadioButton->isChecked() && ui->pushButton_6->isChecked());
    QCOMPARE(ui->pushButton_6->text(), QStringLiteral("中央"));
    QCOMPARE(ui->listWidget->item(6)->text(), QStringLiteral("その他"));
}

void TestTabTemplate::loadThenSaveGivesTheRecordBack_data()
{
    QTest::addColumn<PageSettingsRecord>("record");
    PageSettingsRecord all;
    all.tabName = QStringLiteral("kept");
    all.checked = true;
    all.generalInputDir = QStringLiteral("/in/x/");
    all.generalOutputDir = QStringLiteral("/out/y/");
    all.generalOutputFormat = OutputFormatAvif;
    all.balanceReducemode = 2;
    all.viewListNum = 4;
    all.generalSubFolder = false;
    all.generalUpdateFile = true;
    all.generalOptMarkWritee = false;
    all.jpegFileSizeGroup = true;
    all.jpegUpperLimit = 250;
    all.jpegMaintainImageQual = true;
    all.uniqueLogFile = true;
    all.uniqueImageSuppression = false;
    all.uniqueBaseLineJPEG = true;
    all.uniqueICC = 3;
    all.uniqueAddOption = true;
    all.uniqueAddOptionStr = QStringLiteral("-foo \"a b\"");
    all.resizeGroup = true;
    all.resizeRadio = ResizeModeLongSide;
    all.resizeWidth = 640;
    all.resizeHeight = 480;
    all.resizeLongSide = 20000;
    all.resizeMagnification = 999;
    all.resizeImageFit = 3;
    all.resizeSmallImage = false;
    all.resizeForm = 2;
    all.useSuffix = true;
    all.suffix = QStringLiteral("_small");
    all.stampGroup = true;
    all.stampFile = QStringLiteral("/logos/mark.png");
    all.stampOpaque = 0;
    all.stampOffsetX = -9999;
    all.stampOffsetY = 9999;
    all.stampPosition = QStringLiteral("bottomleft");
    QTest::newRow("every field changed") << all;
    all.resizeGroup = false;
    all.resizeRadio = ResizeModeWidth;
    all.generalOutputFormat = OutputFormatAuto;
    all.stampPosition = QStringLiteral("topright");
    QTest::newRow("resize off, first mode") << all;
}

void TestTabTemplate::loadThenSaveGivesTheRecordBack()
{
    QFETCH(PageSettingsRecord, record);
    form->LoadPageToForm(record);
    QCOMPARE(ui->stackedWidget->currentIndex(), record.viewListNum);
    PageSettingsRecord saved;
    saved.tabName = record.tabName;
    saved.checked = record.checked;
    saved.viewListNum = record.viewListNum;
    form->SavePageFromForm(saved);
    QCOMPARE(Json(saved), Json(record));

    record.stampPosition = QStringLiteral("middle");
    form->LoadPageToForm(record);
    form->SavePageFromForm(saved);
    QCOMPARE(saved.stampPosition, QStringLiteral("center"));
}

void TestTabTemplate::outputFormatGatesTheJpegSizeGroup()
{
    ui->listWidget->setCurrentRow(1);
    const auto title = [this] { return ui->sizeAdjustment->styleSheet(); };
    QVERIFY(title().contains(QStringLiteral("#ffffff")));
    ui->outputFormatComboBox->setCurrentIndex(OutputFormatPng);
    QVERIFY(!ui->sizeAdjustment->isEnabled());
    QVERIFY(title().contains(QStringLiteral("#a6a6a6")));
    ui->outputFormatComboBox->setCurrentIndex(OutputFormatJpeg);
    QVERIFY(ui->sizeAdjustment->isEnabled());
    QVERIFY(!ui->sizeAdjustmentLimitSpinBox->isEnabled());
    QTest::keyClick(ui->sizeAdjustment, Qt::Key_Space); // the group's own check box
    QVERIFY(ui->sizeAdjustment->isChecked());
    QVERIFY(ui->sizeAdjustmentLimitSpinBox->isEnabled() && ui->imageQualityMaintenanceCheckBox->isEnabled());
}

void TestTabTemplate::resizeModeEnablesItsFields()
{
    struct Case { QRadioButton* radio; int fit; QString fields; }; // w h l m f n
    const QList<Case> cases{
        {ui->widthRadioButton, 0, QStringLiteral("w....n")}, {ui->heightRadioButton, 0, QStringLiteral(".h...n")},
        {ui->longSideRadioButton, 0, QStringLiteral("..l..n")},
        {ui->magnificationRadioButton, 0, QStringLiteral("...m.n")},
        {ui->imageFitRadioButton, 0, QStringLiteral("wh..fn")}, {ui->imageFitRadioButton, 2, QStringLiteral("wh..f.")},
    };
    ui->listWidget->setCurrentRow(0);
    QTest::keyClick(ui->resize, Qt::Key_Space);
    for (const Case& c : cases) {
        QTest::mouseClick(c.radio, Qt::LeftButton);
        ui->imageFitComboBox->setCurrentIndex(c.fit);
        const QString shown = QString(ui->widthSpinBox->isEnabled() ? u'w' : u'.')
            + (ui->heightSpinBox->isEnabled() ? u'h' : u'.') + (ui->longSideSpinBox->isEnabled() ? u'l' : u'.')
            + (ui->magnificationSpinBox->isEnabled() ? u'm' : u'.') + (ui->imageFitComboBox->isEnabled() ? u'f' : u'.')
            + (ui->notExpandCheckBox->isEnabled() ? u'n' : u'.');
        QCOMPARE(shown, c.fields);
    }

    // A page stored with resize off keeps its mode: checking the group brings back only its field.
    PageSettingsRecord record;
    record.resizeRadio = ResizeModeLongSide;
    form->LoadPageToForm(record);
    QVERIFY(!ui->longSideSpinBox->isEnabled());
    QTest::keyClick(ui->resize, Qt::Key_Space);
    QVERIFY(ui->longSideSpinBox->isEnabled() && !ui->widthSpinBox->isEnabled() && !ui->heightSpinBox->isEnabled());
}

void TestTabTemplate::optionTextFollowsItsSwitch()
{
    ui->listWidget->setCurrentRow(5);
    QVERIFY(ui->createLogFileCheckBox->isEnabled() && !ui->addOptionLineEdit->isEnabled());
    QTest::keyClick(ui->addOptionCheckBox, Qt::Key_Space);
    QVERIFY(ui->addOptionLineEdit->isEnabled() && ui->addOptionLabel->isEnabled());
    QTest::keyClicks(ui->addOptionLineEdit, QStringLiteral("-x 1"));
    QTest::keyClick(ui->addOptionCheckBox, Qt::Key_Space);
    QVERIFY(!ui->addOptionLineEdit->isEnabled());
    QCOMPARE(ui->addOptionLineEdit->text(), QStringLiteral("-x 1"));
}

void TestTabTemplate::pairedControlsStayInStep()
{
    ui->listWidget->setCurrentRow(2);
    QTest::keyClick(ui->groupBox_2, Qt::Key_Space);
    QTest::keyClicks(ui->lineEdit, QStringLiteral("_s"));
    QCOMPARE(ui->label_4->text(), QStringLiteral("sample_s.jpg"));
    QTest::keyClick(ui->groupBox_2, Qt::Key_Space);
    QCOMPARE(ui->label_4->text(), QStringLiteral("sample.jpg"));

    ui->listWidget->setCurrentRow(4);
    QTest::keyClick(ui->groupBox_3, Qt::Key_Space);
    ui->spinBox_3->selectAll();
    QTest::keyClicks(ui->spinBox_3, QStringLiteral("37"));
    QCOMPARE(ui->horizontalSlider->value(), 37);
    QTest::keyClick(ui->horizontalSlider, Qt::Key_End);
    QCOMPARE(ui->spinBox_3->value(), 100);

    QTest::mouseClick(ui->pushButton_6, Qt::LeftButton); // the checked centre stays checked
    QVERIFY(ui->pushButton_6->isChecked());
    QTest::mouseClick(ui->pushButton_10, Qt::LeftButton);
    PageSettingsRecord saved;
    form->SavePageFromForm(saved);
    QCOMPARE(saved.stampPosition, QStringLiteral("bottomright"));
    QVERIFY(!ui->pushButton_6->isChecked());
}

void TestTabTemplate::folderBoxesTakeOneDroppedFolder()
{
    QTemporaryDir temp;
    QDir root(temp.path());
    QVERIFY(root.mkpath(QStringLiteral("photos")) && root.mkpath(QStringLiteral("more")));
    QFile file(root.filePath(QStringLiteral("a.jpg")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    const auto url = [&](const char* name) { return QUrl::fromLocalFile(root.filePath(QLatin1String(name))); };
    const QString folder = QDir::toNativeSeparators(root.filePath(QStringLiteral("photos"))) + QDir::separator();

    struct Case { DK_TextCombox* box; QList<QUrl> urls; QString text; QString message; };
    const QList<Case> cases{
        {ui->inputLineEdit, {url("photos")}, folder, {}},
        {ui->outputLineEdit, {url("photos")}, folder, {}},
        {ui->inputLineEdit, {url("photos"), url("more")}, QStringLiteral("kept"), PickerText::DropOneFolder()},
        {ui->outputLineEdit, {url("a.jpg")}, QStringLiteral("kept"), PickerText::NotAFolder()},
    };
    for (const Case& c : cases) {
        c.box->setEditText(QStringLiteral("kept"));
        ModalCloser closer;
        DropOn(c.box, c.urls);
        QCOMPARE(c.box->currentText(), c.text);
        QTRY_COMPARE(closer.texts, c.message.isEmpty() ? QStringList() : QStringList{c.message});
    }
    // The stamp box takes no drops at all.
    QMimeData mime;
    mime.setUrls({url("photos")});
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(ui->lineEdit_2->lineEdit(), &enter);
    QVERIFY(!enter.isAccepted());
}

void TestTabTemplate::boxesRefuseTooLongTexts()
{
    const QList<QPair<QLineEdit*, int>> limits{{ui->inputLineEdit->lineEdit(), 240},
                                               {ui->outputLineEdit->lineEdit(), 240},
                                               {ui->lineEdit_2->lineEdit(), 260},
                                               {ui->lineEdit, 32},
                                               {ui->addOptionLineEdit, 200}};
    for (const auto& [edit, limit] : limits) {
        edit->setText(QString(limit, u'a'));
        QTest::keyClick(edit, Qt::Key_B);
        QCOMPARE(edit->text().size(), limit);
    }
}

void TestTabTemplate::refusalShowsItsControl()
{
    QApplication::setActiveWindow(form.get());
    QVERIFY(QTest::qWaitForWindowActive(form.get()));
    PageSettingsRecord record;
    record.uniqueAddOption = true;
    form->LoadPageToForm(record);
    ModalCloser closer;
    form->ShowOptionRefusal(OptionRefusal{QStringLiteral("bad option"), QStringLiteral("addOptionLineEdit"), 5});
    QCOMPARE(closer.texts, QStringList{QStringLiteral("bad option")});
    QCOMPARE(ui->stackedWidget->currentIndex(), 5);
    QCOMPARE(form->focusWidget(), ui->addOptionLineEdit); // the box has the keyboard while it is open
}

void TestTabTemplate::buttonsAskTheWindow()
{
    QApplication::setActiveWindow(form.get());
    QVERIFY(QTest::qWaitForWindowActive(form.get()));
    QSignalSpy details(form.get(), &TabTemplate::detailsToggleRequested);
    QTest::keyClick(form.get(), Qt::Key_V, Qt::AltModifier);
    QTRY_COMPARE(details.count(), 1); // a shortcut clicks the button after its press animation
    ui->listWidget->setCurrentRow(6);
    const QList<QPair<QPushButton*, void (TabTemplate::*)()>> buttons{
        {ui->pushButton, &TabTemplate::resetRequested},
        {ui->importPushButton, &TabTemplate::importRequested},
        {ui->exportPushButton, &TabTemplate::exportRequested}};
    for (const auto& [button, signal] : buttons) {
        QSignalSpy spy(form.get(), signal);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(spy.count(), 1);
    }
}

void TestTabTemplate::folderMenuOpensInTheFileManager()
{
    QTemporaryDir temp;
    UrlCatcher catcher;
    QDesktopServices::setUrlHandler(QStringLiteral("file"), &catcher, "open");
    QStringList entries;
    QTimer::singleShot(50, this, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        if (menu == nullptr)
            return;
        for (QAction* action : menu->actions())
            entries.append(action->text());
        menu->actions().at(1)->trigger();
        menu->close();
    });
    ui->inputLineEdit->setEditText(temp.path());
    QTest::mouseClick(ui->inputReferencePushButton, Qt::LeftButton);
    QCOMPARE(entries, (QStringList{PickerText::BrowseEntry(), PickerText::OpenInFileManagerEntry()}));
    QCOMPARE(catcher.opened, QList<QUrl>{QUrl::fromLocalFile(temp.path())});

    // A missing folder asks first; cancelling opens nothing.
    ui->outputLineEdit->setEditText(temp.path() + QStringLiteral("/gone"));
    ModalCloser closer(QMessageBox::Cancel);
    form->slotOutputFolderOpen();
    QCOMPARE(closer.texts, QStringList{PickerText::FolderMissingShowDesktop()});
    QCOMPARE(closer.buttonTexts.size(), 2);
    QCOMPARE(catcher.opened.size(), 1);
    QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
}

QTEST_MAIN(TestTabTemplate)
#include "tst_tabtemplate.moc"
