#include "dialog.h"

#include "textresource.h"
#include "ui_dialog.h"

namespace {

constexpr int logoHeight = 32; // it signs the text, it does not announce it

} // namespace

Dialog::Dialog(QWidget *parent) : QDialog(parent), m_ui(std::make_unique<Ui::Dialog>())
{
    m_ui->setupUi(this);
    m_ui->labelLogo->setPixmap(logo(logoHeight));
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

Dialog::~Dialog() = default;

void Dialog::setText(const QString &text)
{
    m_ui->textEdit->setPlainText(text);
}
