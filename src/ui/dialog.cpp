#include "dialog.h"

#include "textresource.h"
#include "ui_dialog.h"

Dialog::Dialog(QWidget *parent) : QDialog(parent), ui(std::make_unique<Ui::Dialog>())
{
    ui->setupUi(this);
    ui->labelLogo->setPixmap(logo());
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

Dialog::~Dialog() = default;

void Dialog::setText(const QString &text)
{
    ui->textEdit->setPlainText(text);
}
