#include "mainwindow/tabtemplate.h"

#include "mainwindow/folderpickers.h"
#include "mainwindow/operationmarker.h"
#include "mainwindow/pagerules.h"
#include "pipeline/commandline.h"
#include "settings/settingsstore.h"
#include "ui_tabtemplate.h"
#include "validation/pathrules.h"
#include "validation/validationtext.h"
#include "validation/warningbox.h"
#include "widgets/dk_textcombox.h"

#include <QApplication>
#include <QDebug>
#include <QDesktopServices>
#include <QFileDialog>
#include <QIcon>
#include <QKeySequence>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPalette>
#include <QShortcutEvent>

namespace {

bool darkTheme = true;

constexpr int kStampFileMaxLength = 260;
constexpr int kToolTipMilliseconds = 10'000'000;

QIcon DetailsIcon(bool detailsOpen)
{
    return QIcon(detailsOpen ? QStringLiteral(":/global/DK_close_l.png") : QStringLiteral(":/global/DK_open_l.png"));
}

} // namespace

TabTemplate::TabTemplate(QWidget* parent)
    : QWidget(parent), ui(new Ui::TabTemplate)
{
    ui->setupUi(this);
    TabSetUp();
}

TabTemplate::~TabTemplate()
{
    delete ui;
}

void TabTemplate::SetDarkTheme(bool dark)
{
    darkTheme = dark;
}

bool TabTemplate::DarkTheme()
{
    return darkTheme;
}

void TabTemplate::TabSetUp()
{
    OperationMarker marker("TabSetUp");
    ConnectControls();
    StyleControls();
}

void TabTemplate::ConnectControls()
{
    connect(ui->reducemodeSlider, &QSlider::valueChanged, this, &TabTemplate::ReducedModeValueChanged);
    for (DK_TextCombox* box : {ui->inputLineEdit, ui->outputLineEdit})
        connect(box, &DK_TextCombox::singalMimeDataUrls, this, &TabTemplate::slotMimeDataUrls);
    // The stamp box takes no drops: a stamp is a file, chosen through its dialog or typed.
    ui->lineEdit_2->SetDropEnabled(false);
    for (DK_TextCombox* box : {ui->inputLineEdit, ui->outputLineEdit, ui->lineEdit_2})
        connect(box, &DK_TextCombox::popupAboutToShow, this, &TabTemplate::historiesRequested);
    connect(ui->addOptionCheckBox, &QCheckBox::clicked, this, &TabTemplate::on_addOptionCheckBox_clicked);
    connect(ui->outputFormatComboBox, &QComboBox::currentIndexChanged, this,
            &TabTemplate::on_outputFormatComboBox_currentIndexChanged);
    const QList<QRadioButton*> radios = ResizeRadios();
    for (int mode = 0; mode < radios.size(); ++mode)
        connect(radios[mode], &QRadioButton::clicked, this, [this, mode] { SetRadioButton(mode); });
    connect(ui->imageFitComboBox, &QComboBox::currentIndexChanged, this,
            &TabTemplate::on_imageFitComboBox_currentIndexChanged);
    connect(ui->inputReferencePushButton, &QPushButton::clicked, this, &TabTemplate::on_inputFolderButton_clicked);
    connect(ui->outputReferencePushButton, &QPushButton::clicked, this, &TabTemplate::on_outputFolderButton_clicked);
    connect(ui->pushButton, &QPushButton::clicked, this, &TabTemplate::resetRequested);
    connect(ui->sizeAdjustment, &QGroupBox::clicked, this, &TabTemplate::on_sizeAdjustment_clicked);
    connect(ui->Special, &QGroupBox::clicked, this, &TabTemplate::on_Special_clicked);
    connect(ui->DetailedButton, &QPushButton::clicked, this, &TabTemplate::detailsToggleRequested);
    connect(ui->importPushButton, &QPushButton::clicked, this, &TabTemplate::importRequested);
    connect(ui->exportPushButton, &QPushButton::clicked, this, &TabTemplate::exportRequested);
    connect(ui->lineEdit, &QLineEdit::textChanged, this, &TabTemplate::on_lineEdit_textChanged);
    connect(ui->groupBox_2, &QGroupBox::clicked, this, &TabTemplate::slotSuffixChanged);
    connect(ui->horizontalSlider, &QSlider::valueChanged, this, &TabTemplate::slotStampOpaqueChanged);
    connect(ui->spinBox_3, &QSpinBox::valueChanged, this, &TabTemplate::slotStampOpaqueChanged);
    for (QPushButton* button : PositionButtons())
        connect(button, &QPushButton::clicked, this, &TabTemplate::slotStampPosClicked);
    connect(ui->pushButton_11, &QPushButton::clicked, this, &TabTemplate::slotStampFileSelect);
    connect(ui->listWidget, &QListWidget::currentRowChanged, ui->stackedWidget, &QStackedWidget::setCurrentIndex);
}

void TabTemplate::StyleControls()
{
    ui->DetailedButton->setShortcut(QKeySequence(Qt::ALT | Qt::Key_V));
    ui->DetailedButton->installEventFilter(this);
    ui->DetailedButton->setToolTip(tr("Alt+V_win"));
    ui->inputLineEdit->lineEdit()->setMaxLength(PageLimits::kFolderPathMaxLength);
    ui->outputLineEdit->lineEdit()->setMaxLength(PageLimits::kFolderPathMaxLength);
    ui->lineEdit_2->lineEdit()->setMaxLength(kStampFileMaxLength);
    SetPositionButtonStyle();
    for (QGroupBox* group : {ui->balance, ui->sizeAdjustment, ui->Special, ui->resize})
        SetTitleColour(group, true);
    on_outputFormatComboBox_currentIndexChanged(ui->outputFormatComboBox->currentIndex());
    ReducedModeValueChanged(ui->reducemodeSlider->value());
    on_Special_clicked(ui->Special->isChecked());
    ShowDetailsState(false);
    ui->importPushButton->setIcon(QIcon(QStringLiteral(":/global/DK_import_l.png")));
    ui->exportPushButton->setIcon(QIcon(QStringLiteral(":/global/DK_export_l.png")));
    const QIcon folderIcon(QStringLiteral(":/global/openfolder.png"));
    for (QPushButton* button : {ui->inputReferencePushButton, ui->outputReferencePushButton, ui->pushButton_11})
        button->setIcon(folderIcon);
    ui->listWidget->setCurrentRow(-1);
    ui->stackedWidget->setCurrentIndex(0);
    // Long explanations need time to be read; the platform default hides them too soon.
    setToolTipDuration(kToolTipMilliseconds);
    for (QWidget* child : findChildren<QWidget*>())
        child->setToolTipDuration(kToolTipMilliseconds);
}

bool TabTemplate::eventFilter(QObject* watched, QEvent* event)
{
    // A button's own shortcut shows a 100 ms press before it clicks and drops every press of the
    // key while that runs, so a quick second Alt+V (or the key held down) left the panel open.
    // Clicked at once, each press toggles it.
    if (watched == ui->DetailedButton && event->type() == QEvent::Shortcut
        && !static_cast<QShortcutEvent*>(event)->isAmbiguous()) {
        ui->DetailedButton->click();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void TabTemplate::SetTitleColour(QWidget* groupBox, bool enabled)
{
    groupBox->setStyleSheet(
        PageRules::TitleStyleSheet(PageRules::TitleColourName(darkTheme, enabled, QApplication::palette())));
}

QList<QRadioButton*> TabTemplate::ResizeRadios() const
{
    return {ui->widthRadioButton, ui->heightRadioButton, ui->longSideRadioButton, ui->magnificationRadioButton,
            ui->imageFitRadioButton};
}

QList<QPushButton*> TabTemplate::PositionButtons() const
{
    return {ui->pushButton_2, ui->pushButton_3, ui->pushButton_4, ui->pushButton_5, ui->pushButton_6,
            ui->pushButton_7, ui->pushButton_8, ui->pushButton_9, ui->pushButton_10};
}

void TabTemplate::SetPositionButtonStyle()
{
    const QString sheet = PageRules::PositionButtonStyleSheet(darkTheme);
    for (QPushButton* button : PositionButtons())
        button->setStyleSheet(sheet);
}

void TabTemplate::CheckPositionButton(int gridIndex)
{
    const QList<QPushButton*> buttons = PositionButtons();
    for (int i = 0; i < buttons.size(); ++i)
        buttons[i]->setChecked(i == gridIndex);
}

void TabTemplate::ShowDetailsState(bool detailsOpen)
{
    ui->DetailedButton->setIcon(DetailsIcon(detailsOpen));
}

// ---- the page record ------------------------------------------------------------------------

void TabTemplate::Initialization()
{
    OperationMarker marker("Initialization");
    for (QGroupBox* group : {ui->balance, ui->sizeAdjustment, ui->Special, ui->resize})
        SetTitleColour(group, true);
    SetPositionButtonStyle();
    ui->lineEdit_2->lineEdit()->setMaxLength(kStampFileMaxLength);
    ui->inputLineEdit->clear();
    ui->outputLineEdit->clear();
    SetEnabledSpecialGroupBox(true);
    LoadPageToForm(PageSettingsRecord());
}

// Checkable group boxes enable and disable their children when their check state changes, so
// each group is set before the rules that enable its children, and the resize group is held
// checked while its mode is applied.
void TabTemplate::LoadPageToForm(const PageSettingsRecord& stored)
{
    OperationMarker marker("LoadPageToForm");
    // A combo box given an index past its items shows nothing and would save -1; values from
    // elsewhere are brought into range first, as the settings file's reader does.
    PageSettingsRecord record = stored;
    SettingsStore::ValidatePageData(record);
    LoadGeneral(record);
    LoadJpegSizeAndFormat(record);
    LoadSpecial(record);
    LoadResize(record);
    LoadSuffixAndStamp(record);
}

void TabTemplate::LoadGeneral(const PageSettingsRecord& record)
{
    ui->inputLineEdit->setEditText(record.generalInputDir);
    ui->outputLineEdit->setEditText(record.generalOutputDir);
    ui->subFolderCheckBox->setChecked(record.generalSubFolder);
    ui->updateFileCheckBox->setChecked(record.generalUpdateFile);
    ui->listWidget->setCurrentRow(record.viewListNum);
    ui->stackedWidget->setCurrentIndex(record.viewListNum);
    ui->optMarkWriteCheckBox->setChecked(record.generalOptMarkWritee);
    ui->reducemodeSlider->setValue(record.balanceReducemode);
    ReducedModeValueChanged(ui->reducemodeSlider->value());
}

void TabTemplate::LoadJpegSizeAndFormat(const PageSettingsRecord& record)
{
    ui->sizeAdjustment->setChecked(record.jpegFileSizeGroup);
    ui->sizeAdjustmentLimitSpinBox->setValue(record.jpegUpperLimit);
    ui->imageQualityMaintenanceCheckBox->setChecked(record.jpegMaintainImageQual);
    on_sizeAdjustment_clicked(ui->sizeAdjustment->isChecked());
    ui->outputFormatComboBox->setCurrentIndex(record.generalOutputFormat);
    on_outputFormatComboBox_currentIndexChanged(ui->outputFormatComboBox->currentIndex());
}

void TabTemplate::LoadSpecial(const PageSettingsRecord& record)
{
    ui->createLogFileCheckBox->setChecked(record.uniqueLogFile);
    ui->baseLineJPEGCheckBox->setChecked(record.uniqueBaseLineJPEG);
    ui->imageSuppressionCheckBox->setChecked(record.uniqueImageSuppression);
    ui->iccComboBox->setCurrentIndex(record.uniqueICC);
    ui->addOptionCheckBox->setChecked(record.uniqueAddOption);
    ui->addOptionLineEdit->setText(record.uniqueAddOptionStr);
    SetEnabledSpecialGroupBox(true);
}

void TabTemplate::LoadResize(const PageSettingsRecord& record)
{
    ui->resize->setChecked(true);
    ui->widthSpinBox->setValue(record.resizeWidth);
    ui->heightSpinBox->setValue(record.resizeHeight);
    ui->longSideSpinBox->setValue(record.resizeLongSide);
    ui->magnificationSpinBox->setValue(record.resizeMagnification);
    ui->imageFitComboBox->setCurrentIndex(record.resizeImageFit);
    ui->notExpandCheckBox->setChecked(record.resizeSmallImage);
    ui->resizeMethodComboBox->setCurrentIndex(record.resizeForm);
    SetRadioButton(record.resizeRadio);
    ui->resize->setChecked(record.resizeGroup);
}

void TabTemplate::LoadSuffixAndStamp(const PageSettingsRecord& record)
{
    ui->groupBox_2->setChecked(record.useSuffix);
    ui->lineEdit->setText(record.suffix);
    slotSuffixChanged();
    qDebug() << "load" << record.useSuffix << record.suffix;
    ui->groupBox_3->setChecked(record.stampGroup);
    ui->lineEdit_2->setEditText(record.stampFile);
    slotStampOpaqueChanged(record.stampOpaque);
    ui->spinBox->setValue(record.stampOffsetX);
    ui->spinBox_2->setValue(record.stampOffsetY);
    CheckPositionButton(PageRules::StampPositionIndex(record.stampPosition));
}

void TabTemplate::SavePageFromForm(PageSettingsRecord& record) const
{
    record.generalInputDir = ui->inputLineEdit->currentText();
    record.generalOutputDir = ui->outputLineEdit->currentText();
    record.generalSubFolder = ui->subFolderCheckBox->isChecked();
    record.generalUpdateFile = ui->updateFileCheckBox->isChecked();
    record.generalOptMarkWritee = ui->optMarkWriteCheckBox->isChecked();
    record.generalOutputFormat = ui->outputFormatComboBox->currentIndex();
    record.balanceReducemode = ui->reducemodeSlider->value();
    record.jpegFileSizeGroup = ui->sizeAdjustment->isChecked();
    record.jpegUpperLimit = ui->sizeAdjustmentLimitSpinBox->value();
    record.jpegMaintainImageQual = ui->imageQualityMaintenanceCheckBox->isChecked();
    record.uniqueLogFile = ui->createLogFileCheckBox->isChecked();
    record.uniqueBaseLineJPEG = ui->baseLineJPEGCheckBox->isChecked();
    record.uniqueImageSuppression = ui->imageSuppressionCheckBox->isChecked();
    record.uniqueICC = ui->iccComboBox->currentIndex();
    record.uniqueAddOption = ui->addOptionCheckBox->isChecked();
    record.uniqueAddOptionStr = ui->addOptionLineEdit->text();
    SaveResize(record);
    record.useSuffix = ui->groupBox_2->isChecked();
    record.suffix = ui->lineEdit->text();
    SaveStamp(record);
}

void TabTemplate::SaveResize(PageSettingsRecord& record) const
{
    record.resizeGroup = ui->resize->isChecked();
    // Radio buttons can all be unchecked (mode 0) or, set from code, several checked (the last wins).
    const QList<QRadioButton*> radios = ResizeRadios();
    record.resizeRadio = 0;
    for (int mode = 0; mode < radios.size(); ++mode) {
        if (radios[mode]->isChecked())
            record.resizeRadio = mode;
    }
    record.resizeWidth = ui->widthSpinBox->value();
    record.resizeHeight = ui->heightSpinBox->value();
    record.resizeLongSide = ui->longSideSpinBox->value();
    record.resizeMagnification = ui->magnificationSpinBox->value();
    record.resizeImageFit = ui->imageFitComboBox->currentIndex();
    record.resizeSmallImage = ui->notExpandCheckBox->isChecked();
    record.resizeForm = ui->resizeMethodComboBox->currentIndex();
}

void TabTemplate::SaveStamp(PageSettingsRecord& record) const
{
    record.stampGroup = ui->groupBox_3->isChecked();
    record.stampFile = ui->lineEdit_2->currentText();
    record.stampOpaque = ui->spinBox_3->value();
    record.stampOffsetX = ui->spinBox->value();
    record.stampOffsetY = ui->spinBox_2->value();
    const QList<QPushButton*> buttons = PositionButtons();
    record.stampPosition = QStringLiteral("center");
    for (int i = 0; i < buttons.size(); ++i) {
        if (buttons[i]->isChecked()) {
            record.stampPosition = StampPositionWords().at(i);
            break;
        }
    }
}

void TabTemplate::RefreshHistoryCombos(const RecentFolders& histories)
{
    const QList<QPair<DK_TextCombox*, const QStringList*>> boxes{{ui->inputLineEdit, &histories.inputHistory},
                                                                 {ui->outputLineEdit, &histories.outputHistory},
                                                                 {ui->lineEdit_2, &histories.stampHistory}};
    for (const auto& [box, list] : boxes) {
        const QString text = box->currentText();
        box->clear();
        box->addItems(*list);
        box->setEditText(text);
    }
}

void TabTemplate::ShowOptionRefusal(const OptionRefusal& refusal)
{
    if (refusal.detailsRow >= 0)
        ui->listWidget->setCurrentRow(refusal.detailsRow);
    if (QWidget* control = findChild<QWidget*>(refusal.focusControl))
        control->setFocus(Qt::OtherFocusReason);
    ShowWarningBox(window(), refusal.message);
}

// ---- rules of one page ----------------------------------------------------------------------

void TabTemplate::ReducedModeValueChanged(int value)
{
    ui->reducemodeNumberLabel->setText(QString::number(value));
}

void TabTemplate::on_outputFormatComboBox_currentIndexChanged(int formatIndex)
{
    const std::optional<bool> applies = PageRules::JpegSizeGroupApplies(formatIndex);
    if (!applies) {
        qDebug() << "error";
        return;
    }
    SetEnabledJPEGFileSizeQGroupBox(*applies);
}

void TabTemplate::SetEnabledJPEGFileSizeQGroupBox(bool enabled)
{
    ui->sizeAdjustment->setEnabled(enabled);
    SetTitleColour(ui->sizeAdjustment, enabled);
    on_sizeAdjustment_clicked(ui->sizeAdjustment->isChecked());
}

void TabTemplate::on_sizeAdjustment_clicked(bool checked)
{
    for (QWidget* control : std::initializer_list<QWidget*>{
             ui->sizeAdjustmentLimitSpinBox, ui->imageQualityMaintenanceCheckBox, ui->sizeAdjustmentExplanationLabel,
             ui->LimitUnitLabel, ui->sizeAdjustmentLimitLabel})
        control->setEnabled(checked);
}

void TabTemplate::SetRadioButton(int mode)
{
    const std::optional<PageRules::ResizeFields> fields =
        PageRules::ResizeFieldsFor(mode, ui->imageFitComboBox->currentIndex(), ui->imageFitComboBox->count());
    if (!fields) {
        qDebug() << "error";
        return;
    }
    const QList<QRadioButton*> radios = ResizeRadios();
    for (int i = 0; i < radios.size(); ++i)
        radios[i]->setChecked(i == mode);
    ui->widthLabel->setEnabled(fields->width);
    ui->widthSpinBox->setEnabled(fields->width);
    ui->heightLabel->setEnabled(fields->height);
    ui->heightSpinBox->setEnabled(fields->height);
    ui->longSideLabel->setEnabled(fields->longSide);
    ui->longSideSpinBox->setEnabled(fields->longSide);
    ui->magnificationLabel->setEnabled(fields->magnification);
    ui->magnificationSpinBox->setEnabled(fields->magnification);
    ui->imageFitComboBox->setEnabled(fields->imageFit);
    ui->notExpandCheckBox->setEnabled(fields->notExpand);
}

bool TabTemplate::IsNotExpand(int fitIndex) const
{
    if (fitIndex < 0 || fitIndex >= ui->imageFitComboBox->count()) {
        qDebug() << "error";
        return false;
    }
    return PageRules::FitAllowsNotExpand(fitIndex, ui->imageFitComboBox->count());
}

void TabTemplate::on_imageFitComboBox_currentIndexChanged(int fitIndex)
{
    ui->notExpandCheckBox->setEnabled(IsNotExpand(fitIndex));
}

void TabTemplate::SetEnabledSpecialGroupBox(bool enabled)
{
    for (QWidget* control : std::initializer_list<QWidget*>{ui->createLogFileCheckBox, ui->imageSuppressionCheckBox,
                                                            ui->iccComboBox, ui->iccLabel, ui->baseLineJPEGCheckBox,
                                                            ui->addOptionCheckBox})
        control->setEnabled(enabled);
    const bool optionText = enabled && ui->addOptionCheckBox->isChecked();
    ui->addOptionLabel->setEnabled(optionText);
    ui->addOptionLineEdit->setEnabled(optionText);
    qDebug() << "specialLockCheckBox      :" << ui->Special->isChecked();
    qDebug() << "createLogFileCheckBox    :" << ui->createLogFileCheckBox->isEnabled();
    qDebug() << "imageSuppressionCheckBox :" << ui->imageSuppressionCheckBox->isEnabled();
    qDebug() << "baseLineJPEGCheckBox     :" << ui->baseLineJPEGCheckBox->isEnabled();
    qDebug() << "iccLabel                 :" << ui->iccLabel->isEnabled();
    qDebug() << "iccComboBox              :" << ui->iccComboBox->isEnabled();
    qDebug() << "addOptionCheckBox Enabled:" << ui->addOptionCheckBox->isEnabled();
    qDebug() << "addOptionCheckBox Checked:" << ui->addOptionCheckBox->isChecked();
    qDebug() << "addOptionLabel           :" << ui->addOptionLabel->isEnabled();
    qDebug() << "addOptionLineEdit        :" << ui->addOptionLineEdit->isEnabled();
}

// The special group is a plain title, never checked, so the settings inside always stay usable;
// the rule is kept so a lock can come back by making the group checkable.
void TabTemplate::on_Special_clicked(bool checked)
{
    SetEnabledSpecialGroupBox(!checked);
}

void TabTemplate::on_addOptionCheckBox_clicked(bool checked)
{
    ui->addOptionLabel->setEnabled(checked);
    ui->addOptionLineEdit->setEnabled(checked);
}

void TabTemplate::on_lineEdit_textChanged(const QString& arg1)
{
    ui->label_4->setText(PageRules::SampleOutputName(ui->groupBox_2->isChecked(), arg1));
}

void TabTemplate::slotSuffixChanged()
{
    on_lineEdit_textChanged(ui->lineEdit->text());
}

void TabTemplate::slotStampOpaqueChanged(int value)
{
    ui->horizontalSlider->setValue(value);
    ui->spinBox_3->setValue(value);
}

void TabTemplate::slotStampPosClicked()
{
    auto* button = qobject_cast<QPushButton*>(sender());
    if (button == nullptr)
        return;
    const qsizetype index = PositionButtons().indexOf(button);
    CheckPositionButton(index >= 0 ? int(index) : PageRules::StampPositionIndex(QStringLiteral("center")));
}

// ---- folder pickers, drops, file manager ----------------------------------------------------

void TabTemplate::ShowFolderMenu(QPushButton* button, void (TabTemplate::*browse)(), void (TabTemplate::*open)())
{
    QMenu menu(this);
    menu.addAction(PickerText::BrowseEntry(), this, browse);
    menu.addAction(PickerText::OpenInFileManagerEntry(), this, open);
    const QPoint below = button->parentWidget()->mapToGlobal(button->pos() + QPoint(0, button->height()));
    menu.exec(below);
}

void TabTemplate::on_inputFolderButton_clicked()
{
    ShowFolderMenu(ui->inputReferencePushButton, &TabTemplate::on_inputReferencePushButton_clicked,
                   &TabTemplate::slotInputFolderOpen);
}

void TabTemplate::on_outputFolderButton_clicked()
{
    ShowFolderMenu(ui->outputReferencePushButton, &TabTemplate::on_outputReferencePushButton_clicked,
                   &TabTemplate::slotOutputFolderOpen);
}

void TabTemplate::ChooseFolder(DK_TextCombox* box, const QString& fieldName)
{
    QString start = box->currentText();
    GetFileDialogOpenDir(start);
    const QString chosen = QFileDialog::getExistingDirectory(window(), QString(), start, QFileDialog::ShowDirsOnly);
    const FolderVerdict verdict =
        CheckChosenFolder(chosen, fieldName, box->lineEdit()->maxLength(), PathSyntax::Native());
    if (!verdict.message.isEmpty())
        ShowWarningBox(window(), verdict.message);
    else if (!verdict.path.isEmpty())
        box->setEditText(verdict.path);
}

void TabTemplate::on_inputReferencePushButton_clicked()
{
    OperationMarker marker("on_inputReferencePushButton_clicked");
    ChooseFolder(ui->inputLineEdit, ValidationText::InputFolderField());
}

void TabTemplate::on_outputReferencePushButton_clicked()
{
    OperationMarker marker("on_outputReferencePushButton_clicked");
    ChooseFolder(ui->outputLineEdit, ValidationText::OutputFolderField());
}

void TabTemplate::OpenFolder(const DK_TextCombox* box)
{
    QString path = box->currentText();
    ChangePathDelimiter(path);
    if (IsExistingFolder(path)) {
        QDesktopServices::openUrl(QUrl::fromLocalFile(path));
        return;
    }
    QMessageBox ask(QMessageBox::Warning, QStringLiteral("Dravik for Desktop"), PickerText::FolderMissingShowDesktop(),
                    QMessageBox::Ok | QMessageBox::Cancel, window());
    ask.button(QMessageBox::Ok)->setText(PickerText::OpenButton());
    ask.button(QMessageBox::Cancel)->setText(PickerText::CancelButton());
    ask.setDefaultButton(QMessageBox::Cancel);
    if (ask.exec() == QMessageBox::Ok)
        QDesktopServices::openUrl(QUrl::fromLocalFile(DesktopFolder()));
}

void TabTemplate::slotInputFolderOpen()
{
    OpenFolder(ui->inputLineEdit);
}

void TabTemplate::slotOutputFolderOpen()
{
    OpenFolder(ui->outputLineEdit);
}

void TabTemplate::slotMimeDataUrls(DK_TextCombox* pLineEdit, const QList<QUrl>& urls)
{
    OperationMarker marker("slotMimeDataUrls");
    if (pLineEdit != ui->inputLineEdit && pLineEdit != ui->outputLineEdit)
        return;
    const QString field = pLineEdit == ui->inputLineEdit ? ValidationText::InputFolderField()
                                                         : ValidationText::OutputFolderField();
    const FolderVerdict verdict = CheckDroppedFolder(urls, field, pLineEdit->lineEdit()->maxLength(),
                                                     PathSyntax::Native(), IsExistingFolder);
    if (!verdict.message.isEmpty())
        ShowWarningBox(window(), verdict.message);
    else if (!verdict.path.isEmpty())
        pLineEdit->setEditText(verdict.path);
}

void TabTemplate::slotStampFileSelect()
{
    OperationMarker marker("slotStampFileSelect");
    const QString start = StampDialogStartDir(ui->lineEdit_2->currentText(), DesktopFolder(), PathSyntax::Native(),
                                              IsExistingFolder);
    QString chosen = QFileDialog::getOpenFileName(window(), QString(), start, PickerText::StampFileFilter());
    if (chosen.isEmpty())
        return;
    ChangePathDelimiter(chosen);
    // The box would cut a longer name silently and the run would then look for another file.
    if (chosen.size() > ui->lineEdit_2->lineEdit()->maxLength()) {
        ShowWarningBox(window(), PickerText::PathTooLong());
        return;
    }
    ui->lineEdit_2->setEditText(chosen);
}
