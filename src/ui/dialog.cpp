#include "dialog.h"

#include "textresource.h"
#include "ui_dialog.h"

namespace {

constexpr int logoHeight = 32; // it signs the text, it does not announce it

} // namespace

Dialog::Dialog(QWidget *parent) : QDialog(parent), ui(std::make_unique<Ui::Dialog>())
{
    ui->setupUi(this);
    ui->labelLogo->setPixmap(logo(logoHeight));
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

Dialog::~Dialog() = default;

void Dialog::setText(const QString &text)
{
    ui->textEdit->setPlainText(text);
}
