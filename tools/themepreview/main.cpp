// dravik_themepreview dark|light OUT.png
// Builds one window with every kind of control the program uses, applies the
// theme as the program does at start-up and saves a picture of it, plus
// OUT-dialog.png with a message box and an open menu, and OUT-popup.png with
// an open combo box list.

#include "app/themes.h"
#include "widgets/dk_label.h"
#include "widgets/dk_tabwidget.h"
#include "widgets/dk_textcombox.h"

#include <QApplication>
#include <QCheckBox>
#include <QAbstractItemView>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QMenu>
#include <QMessageBox>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QSpinBox>
#include <QTabBar>
#include <QTimer>
#include <QVBoxLayout>

#include <cstdio>

namespace {

QWidget* BuildPage()
{
    auto* page = new QWidget;
    page->setAccessibleName(QStringLiteral("tabpage"));
    auto* grid = new QGridLayout(page);

    grid->addWidget(new QLabel(QStringLiteral("入力フォルダー(&I) :")), 0, 0);
    auto* input = new DK_TextCombox(page);
    input->setEditable(true);
    input->addItems({QStringLiteral("C:\\写真\\2024\\"), QStringLiteral("D:\\Images\\")});
    grid->addWidget(input, 0, 1);
    auto* browse = new QPushButton(QIcon(QStringLiteral(":/global/openfolder.png")), QString());
    grid->addWidget(browse, 0, 2);

    grid->addWidget(new QLabel(QStringLiteral("出力形式(&F) :")), 1, 0);
    auto* format = new QComboBox;
    format->addItems({QStringLiteral("入力画像と同じ"), QStringLiteral("JPEG (拡張子 .jpg で出力)")});
    grid->addWidget(format, 1, 1);
    auto* disabledCombo = new QComboBox;
    disabledCombo->addItem(QStringLiteral("無効"));
    disabledCombo->setEnabled(false);
    grid->addWidget(disabledCombo, 1, 2);

    auto* balance = new QGroupBox(QStringLiteral("バランス(&M)"));
    auto* bl = new QHBoxLayout(balance);
    bl->addWidget(new QLabel(QStringLiteral("画質重視")));
    auto* slider = new QSlider(Qt::Horizontal);
    slider->setRange(1, 8);
    slider->setValue(5);
    slider->setTickPosition(QSlider::TicksAbove);
    bl->addWidget(slider);
    bl->addWidget(new QLabel(QStringLiteral("軽量化重視")));
    grid->addWidget(balance, 2, 0, 1, 3);

    auto* resize = new QGroupBox(QStringLiteral("リサイズ(&Z)"));
    resize->setCheckable(true);
    auto* rl = new QGridLayout(resize);
    auto* r1 = new QRadioButton(QStringLiteral("幅を合わせる"));
    auto* r2 = new QRadioButton(QStringLiteral("画像フィット"));
    r2->setChecked(true);
    auto* r3 = new QRadioButton(QStringLiteral("無効"));
    r3->setEnabled(false);
    rl->addWidget(r1, 0, 0);
    rl->addWidget(r2, 0, 1);
    rl->addWidget(r3, 0, 2);
    auto* spin = new QSpinBox;
    spin->setRange(1, 20000);
    spin->setValue(1000);
    rl->addWidget(spin, 1, 0);
    auto* plainSpin = new QSpinBox;
    plainSpin->setButtonSymbols(QAbstractSpinBox::NoButtons);
    plainSpin->setValue(100);
    rl->addWidget(plainSpin, 1, 1);
    auto* offSpin = new QSpinBox;
    offSpin->setEnabled(false);
    rl->addWidget(offSpin, 1, 2);
    auto* c1 = new QCheckBox(QStringLiteral("小さい画像は拡大しない(&N)"));
    c1->setChecked(true);
    auto* c2 = new QCheckBox(QStringLiteral("更新ファイルのみ処理"));
    auto* c3 = new QCheckBox(QStringLiteral("部分"));
    c3->setTristate(true);
    c3->setCheckState(Qt::PartiallyChecked);
    auto* c4 = new QCheckBox(QStringLiteral("無効"));
    c4->setChecked(true);
    c4->setEnabled(false);
    rl->addWidget(c1, 2, 0);
    rl->addWidget(c2, 2, 1);
    rl->addWidget(c3, 3, 0);
    rl->addWidget(c4, 3, 1);
    grid->addWidget(resize, 3, 0, 1, 3);

    auto* list = new QListWidget;
    list->addItems({QStringLiteral("リサイズ"), QStringLiteral("JPEGファイルサイズ調整"), QStringLiteral("ファイル名修飾"),
                    QStringLiteral("処理対象ファイル"), QStringLiteral("スタンプ（透かしロゴ）"), QStringLiteral("特殊設定"),
                    QStringLiteral("その他")});
    list->setCurrentRow(1);
    list->setMaximumHeight(70);
    grid->addWidget(list, 4, 0);
    auto* edit = new QLineEdit(QStringLiteral("_s"));
    grid->addWidget(edit, 4, 1);
    auto* progress = new QProgressBar;
    progress->setValue(42);
    progress->setTextVisible(false);
    grid->addWidget(progress, 5, 0, 1, 3);
    auto* link = new DK_Label(page);
    link->setText(QStringLiteral("リンク"));
    grid->addWidget(link, 4, 2);
    return page;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3 || (args[1] != QLatin1String("dark") && args[1] != QLatin1String("light"))) {
        std::fprintf(stderr, "usage: dravik_themepreview dark|light OUT.png\n");
        return 2;
    }
    LoadTranslations(app);
    const bool dark = ApplyTheme(args[1] == QLatin1String("dark"));

    QMainWindow window;
    auto* central = new QWidget;
    auto* v = new QVBoxLayout(central);
    v->setContentsMargins(0, 0, 0, 0);

    auto* strip = new QWidget;
    strip->setStyleSheet(QStringLiteral("background-color: white;"));
    auto* sl = new QHBoxLayout(strip);
    auto* banner = new QLabel;
    banner->setPixmap(QPixmap(QStringLiteral(":/global/layout00.png")));
    sl->addWidget(banner);
    sl->addStretch();
    auto* menu = new QPushButton(QIcon(QStringLiteral(":/global/more_vert_white_48dp.svg")), QString());
    sl->addWidget(menu);
    v->addWidget(strip);

    auto* tabs = new DK_TabWidget(central);
    tabs->setAccessibleName(QStringLiteral("normalTab"));
    tabs->addTab(BuildPage(), QIcon(QStringLiteral(":/global/lamp01_a.png")), QStringLiteral("page1"));
    tabs->addTab(new QWidget, QIcon(QStringLiteral(":/global/lamp00_a.png")), QStringLiteral("page2"));
    tabs->addTab(new QWidget, QIcon(QStringLiteral(":/global/lamp00_a.png")), QStringLiteral("新しいページ"));
    tabs->tabBar()->setIconSize(QSize(20, 20));
    v->addWidget(tabs);

    auto* bottom = new QHBoxLayout;
    bottom->setContentsMargins(10, 10, 10, 10);
    auto* manual = new QPushButton(QCoreApplication::translate("MainWindow", "D_説明書(D)"));
    auto* close = new QPushButton(QCoreApplication::translate("MainWindow", "D_閉じる"));
    close->setDefault(true);
    auto* run = new QPushButton(QCoreApplication::translate("MainWindow", "D_変換開始(C)"));
    run->setAccessibleName(QStringLiteral("runButton"));
    run->setMinimumSize(150, 34);
    auto* runOff = new QPushButton(QCoreApplication::translate("MainWindow", "D_変換開始(C)"));
    runOff->setAccessibleName(QStringLiteral("runButton"));
    runOff->setMinimumSize(150, 34);
    runOff->setEnabled(false);
    auto* batch = new QPushButton(QIcon(QStringLiteral(":/global/lamp00_a.png")), QStringLiteral("一括処理..."));
    auto* details = new QPushButton(QIcon(QStringLiteral(":/global/DK_open_l.png")), QStringLiteral("詳細設定"));
    auto* disabled = new QPushButton(QStringLiteral("無効"));
    disabled->setEnabled(false);
    for (QWidget* w : {static_cast<QWidget*>(manual), static_cast<QWidget*>(close), static_cast<QWidget*>(details),
                       static_cast<QWidget*>(disabled), static_cast<QWidget*>(batch), static_cast<QWidget*>(runOff),
                       static_cast<QWidget*>(run)})
        bottom->addWidget(w);
    v->addLayout(bottom);

    window.setCentralWidget(central);
    window.setWindowTitle(QStringLiteral("Dravik for Desktop"));
    window.resize(708, 620);
    window.show();

    int rc = 0;
    QTimer::singleShot(300, &app, [&]() {
        if (!window.grab().save(args[2]))
            rc = 1;

        QMessageBox box(QMessageBox::Warning, QStringLiteral("Dravik for Desktop"),
                        QStringLiteral("このページを初期化します。"), QMessageBox::Yes | QMessageBox::No);
        box.button(QMessageBox::Yes)->setText(QStringLiteral("はい"));
        box.button(QMessageBox::No)->setText(QStringLiteral("いいえ"));
        box.setDefaultButton(QMessageBox::No);
        box.show();
        QMenu menu;
        menu.addAction(QStringLiteral("ページの追加(&A)..."));
        menu.addAction(QStringLiteral("ページの複製(&C)..."))->setEnabled(false);
        menu.addSeparator();
        menu.addAction(QStringLiteral("ページの削除(&D)..."));
        menu.popup(QPoint(0, 0));
        QComboBox combo;
        combo.addItems({QStringLiteral("入力画像と同じ"), QStringLiteral("JPEG (拡張子 .jpg で出力)"),
                        QStringLiteral("PNG (拡張子 .png で出力)")});
        combo.move(0, 300);
        combo.show();
        combo.showPopup();
        menu.setActiveAction(menu.actions().first());
        QApplication::processEvents();
        const QPixmap boxShot = box.grab();
        const QPixmap menuShot = menu.grab();
        QString popupPath = args[2];
        popupPath.replace(QLatin1String(".png"), QLatin1String("-popup.png"));
        if (QWidget* popup = combo.view()->window(); !popup->grab().save(popupPath))
            rc = 1;
        QPixmap both(boxShot.width() + menuShot.width() + 20, qMax(boxShot.height(), menuShot.height()));
        both.fill(Qt::gray);
        QPainter painter(&both);
        painter.drawPixmap(0, 0, boxShot);
        painter.drawPixmap(boxShot.width() + 20, 0, menuShot);
        painter.end();
        QString dialogPath = args[2];
        dialogPath.replace(QLatin1String(".png"), QLatin1String("-dialog.png"));
        if (!both.save(dialogPath))
            rc = 1;
        std::printf("theme %s applied=%d style=%s\n", qPrintable(args[1]), dark ? 1 : 0,
                    qPrintable(QApplication::style()->name()));
        app.quit();
    });
    app.exec();
    return rc;
}
