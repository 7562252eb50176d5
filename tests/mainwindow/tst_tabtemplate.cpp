// The page editor form on real widgets: its record, the rules between its controls, the drops
// on its folder boxes and the requests it passes to the window. Clicks and keys go through QTest.

#include "mainwindow/folderpickers.h"
#include "mainwindow/tabtemplate.h"
#include "settings/settingsstore.h"
#include "tests/mainwindow/modalscript.h"
#include "tests/mainwindow/samplepage.h"
#include "ui_tabtemplate.h"
#include "widgets/dk_textcombox.h"

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

class TestTabTemplate : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TabTemplate> form;
    Ui::TabTemplate* ui = nullptr;
    QTranslator translator;

private slots:
    void cleanup() { form.reset(); }
    void initTestCase()
    {
        QVERIFY(translator.load(QStringLiteral(":/translation/DKDesktop_ja_JP.qm")));
        QCoreApplication::installTranslator(&translator);
    }

    void init()
    {
        form = std::make_unique<TabTemplate>();
        ui = form->ui;
        form->Initialization();
        form->resize(690, 520);
        form->show();
        QVERIFY(QTest::qWaitForWindowExposed(form.get()));
    }

    // A new page shows the default record and the texts that go with it.
    void newPageShowsTheDefaultRecord()
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
    }

    // Load then save gives back a record with every field away from its default; values no
    // control can show come back as the page's defaults.
    void loadThenSaveGivesTheRecordBack()
    {
        PageSettingsRecord record = SamplePage(QStringLiteral("kept"));
        record.viewListNum = 4;
        QJsonObject sample, plain;
        SettingsStore::WritePageJson(record, sample);
        SettingsStore::WritePageJson(PageSettingsRecord(), plain);
        for (const QString& key : plain.keys())
            QVERIFY2(sample.value(key) != plain.value(key), qPrintable(key));
        form->LoadPageToForm(record);
        QCOMPARE(ui->stackedWidget->currentIndex(), record.viewListNum);
        PageSettingsRecord saved;
        saved.tabName = record.tabName;
        saved.checked = record.checked;
        saved.viewListNum = record.viewListNum;
        form->SavePageFromForm(saved);
        QCOMPARE(Json(saved), Json(record));

        // Values no control can show come back as the page's defaults.
        record.stampPosition = QStringLiteral("middle");
        record.generalOutputFormat = 9;
        record.resizeRadio = -1;
        form->LoadPageToForm(record);
        form->SavePageFromForm(saved);
        QCOMPARE(saved.stampPosition, QStringLiteral("center"));
        QCOMPARE(saved.generalOutputFormat, int(OutputFormatSame));
        QCOMPARE(saved.resizeRadio, int(ResizeModeImageFit));
    }

    // The size group follows the output format, its title colour with it.
    void outputFormatGatesTheJpegSizeGroup()
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

    // Checking the resize group brings back only the stored mode's field.
    void resizeModeEnablesItsFields()
    {
        // A page stored with resize off keeps its mode: checking the group brings back only its field.
        PageSettingsRecord record;
        record.resizeRadio = ResizeModeLongSide;
        form->LoadPageToForm(record);
        ui->listWidget->setCurrentRow(0);
        QVERIFY(!ui->longSideSpinBox->isEnabled());
        QTest::keyClick(ui->resize, Qt::Key_Space);
        QVERIFY(ui->longSideSpinBox->isEnabled() && !ui->widthSpinBox->isEnabled() && !ui->heightSpinBox->isEnabled());
        QTest::mouseClick(ui->imageFitRadioButton, Qt::LeftButton);
        ui->imageFitComboBox->setCurrentIndex(2);
        QVERIFY(ui->widthSpinBox->isEnabled() && !ui->longSideSpinBox->isEnabled() && !ui->notExpandCheckBox->isEnabled());
    }

    // The extra options' text is usable only while its switch is on, and keeps its text.
    void optionTextFollowsItsSwitch()
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

    // The sample name follows the suffix, the opacity pair moves together, one position is checked.
    void pairedControlsStayInStep()
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

    // A folder box takes one dropped folder through its own drop handling; the stamp box none.
    void folderBoxesTakeOneDroppedFolder()
    {
        QTemporaryDir temp;
        QDir root(temp.path());
        QVERIFY(root.mkpath(QStringLiteral("photos")) && root.mkpath(QStringLiteral("more")));
        const auto url = [&](const char* name) { return QUrl::fromLocalFile(root.filePath(QLatin1String(name))); };
        const QString folder = QDir::toNativeSeparators(root.filePath(QStringLiteral("photos"))) + QDir::separator();

        struct Case { DK_TextCombox* box; QList<QUrl> urls; QString text; QString message; };
        const QList<Case> cases{
            {ui->inputLineEdit, {url("photos")}, folder, {}},
            {ui->outputLineEdit, {url("photos"), url("more")}, QStringLiteral("kept"), PickerText::DropOneFolder()},
        };
        for (const Case& c : cases) {
            c.box->setEditText(QStringLiteral("kept"));
            ModalScript user;
            if (!c.message.isEmpty())
                user.Box();
            DropOn(c.box, c.urls);
            QCOMPARE(c.box->currentText(), c.text);
            QTRY_VERIFY2(user.Done(), user.Report());
            QCOMPARE(user.texts, c.message.isEmpty() ? QStringList() : QStringList{c.message});
        }
        // The stamp box takes no drops at all.
        QMimeData mime;
        mime.setUrls({url("photos")});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(ui->lineEdit_2->lineEdit(), &enter);
        QVERIFY(!enter.isAccepted());
    }

};

QTEST_MAIN(TestTabTemplate)
#include "tst_tabtemplate.moc"
