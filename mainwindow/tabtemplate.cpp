#include "mainwindow/tabtemplate.h"

#include "pipeline/commandline.h"
#include "ui_tabtemplate.h"

namespace {
bool darkTheme = true;
}

TabTemplate::TabTemplate(QWidget* parent)
    : QWidget(parent), ui(new Ui::TabTemplate)
{
    ui->setupUi(this);
}

TabTemplate::~TabTemplate()
{
    delete ui;
}

void TabTemplate::SetDarkTheme(bool dark) { darkTheme = dark; }
bool TabTemplate::DarkTheme() { return darkTheme; }
void TabTemplate::Initialization() {}
void TabTemplate::LoadPageToForm(const PageSettingsRecord&) {}
void TabTemplate::SavePageFromForm(PageSettingsRecord&) const {}
void TabTemplate::RefreshHistoryCombos(const RecentFolders&) {}
void TabTemplate::ShowOptionRefusal(const OptionRefusal&) {}
void TabTemplate::ShowDetailsState(bool) {}
