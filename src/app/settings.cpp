#include "settings.h"

#include "ipv4address.h"
#include "rangesummary.h"
#include "styleproperty.h"
#include "ui_settings.h"

#include <QKeyEvent>
#include <QSignalBlocker>

namespace {

// Without the box's signal: what is shown is not what the user entered, and may be cut to the box's
// limits or rounded to its decimals.
void showValue(QDoubleSpinBox *box, double value)
{
    const QSignalBlocker blocker(box);
    box->setValue(value);
}

bool isAddress(const QLineEdit *field)
{
    return parseIpv4Address(field->text()).has_value();
}

QHostAddress addressOf(const QLineEdit *field)
{
    const std::optional<quint32> address = parseIpv4Address(field->text());
    return address ? QHostAddress(*address) : QHostAddress();
}

int roundedValue(const QDoubleSpinBox *box)
{
    return qRound(box->value());
}

} // namespace

Settings::Settings(QWidget *parent) : QDialog(parent), m_ui(std::make_unique<Ui::Settings>())
{
    m_ui->setupUi(this);
    setBroadcastTime(qRound(m_broadcastTime.current));
    setTimeout(qRound(m_timeout.current));
    setNumberOfThreads(m_threads.current);
    setWaitForBytesWritten(m_waitForBytesWritten.current);
    setWaitForReadyRead(m_waitForReadyRead.current);
    setWaitForConnected(m_waitForConnected.current);
    setFlagUnicast(false);
    connectWidgets();
    const QList<QPushButton *> buttons = findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        button->installEventFilter(this);
    }
}

Settings::~Settings() = default;

void Settings::connectWidgets()
{
    const auto changed = qOverload<double>(&QDoubleSpinBox::valueChanged);
    connect(m_ui->doubleSpinBoxBroadcastTime, changed, this, &Settings::onChangeBroadcastTime);
    connect(m_ui->doubleSpinBoxTimeout, changed, this, &Settings::onChangeTimeout);
    connect(m_ui->checkBoxEnable, &QCheckBox::toggled, this, &Settings::onChangeChangeFlagManualIP);
    connect(m_ui->checkBoxEnableUnicast, &QCheckBox::toggled, this, &Settings::onChangeChangeFlagUnicast);
    connect(m_ui->lineEditStart, &QLineEdit::textChanged, this, &Settings::onIpLineEditTextChanged);
    connect(m_ui->lineEditStop, &QLineEdit::textChanged, this, &Settings::onIpLineEditTextChanged);
    connect(m_ui->doubleSpinBoxThreadsNumber, changed, this, &Settings::onChangeNumbeOfThreads);
    connect(m_ui->doubleSpinBoxWaitForBytesWritten, changed, this, &Settings::onChangeWaitForBytesWritten);
    connect(m_ui->doubleSpinBoxWaitForReadyRead, changed, this, &Settings::onChangeWaitForReadyRead);
    connect(m_ui->doubleSpinBoxWaitForConnected, changed, this, &Settings::onChangeWaitForConnected);
    connect(m_ui->applyBtn, &QPushButton::clicked, this, &Settings::onApply);
    connect(m_ui->cancelBtn, &QPushButton::clicked, this, &Settings::onClose);
}

void Settings::setBroadcastTime(int ms)
{
    m_broadcastTime = {double(ms), double(ms)};
    showValue(m_ui->doubleSpinBoxBroadcastTime, ms / 1000.0);
    showRange();
}

void Settings::setTimeout(int ms)
{
    m_timeout = {double(ms), double(ms)};
    showValue(m_ui->doubleSpinBoxTimeout, ms / 1000.0);
}

void Settings::setFlagManualIp(bool on)
{
    m_manualIp = {on, on};
    m_ui->checkBoxEnable->setChecked(on);
}

void Settings::setFlagUnicast(bool on)
{
    m_ui->checkBoxEnableUnicast->setChecked(on);
    m_ui->lineEditStart->setEnabled(on);
    m_ui->lineEditStop->setEnabled(on);
    m_ui->applyBtn->setEnabled(!on || hasRange());
    showRange();
}

void Settings::setStartIp(const QHostAddress &address)
{
    showAddress(m_ui->lineEditStart, address);
}

void Settings::setEndIp(const QHostAddress &address)
{
    showAddress(m_ui->lineEditStop, address);
}

void Settings::setNumberOfThreads(int threads)
{
    m_threads = {threads, threads};
    showValue(m_ui->doubleSpinBoxThreadsNumber, threads);
}

void Settings::setWaitForBytesWritten(int ms)
{
    setWait(m_waitForBytesWritten, m_ui->doubleSpinBoxWaitForBytesWritten, ms);
}

void Settings::setWaitForReadyRead(int ms)
{
    setWait(m_waitForReadyRead, m_ui->doubleSpinBoxWaitForReadyRead, ms);
}

void Settings::setWaitForConnected(int ms)
{
    setWait(m_waitForConnected, m_ui->doubleSpinBoxWaitForConnected, ms);
}

void Settings::setWait(Option<int> &option, QDoubleSpinBox *box, int ms)
{
    option = {ms, ms};
    showValue(box, ms);
}

void Settings::showAddress(QLineEdit *field, const QHostAddress &address)
{
    field->setText(address.toString());
    // A stored address that no scan can use stands in nobody's way while the range is switched off.
    m_ui->applyBtn->setEnabled(!m_ui->checkBoxEnableUnicast->isChecked() || hasRange());
    showRange();
}

bool Settings::hasRange() const
{
    return isAddress(m_ui->lineEditStart) && isAddress(m_ui->lineEditStop);
}

void Settings::showRange()
{
    const bool matters = m_ui->checkBoxEnableUnicast->isChecked() || !m_ui->applyBtn->isEnabled();
    const bool startIsWrong = matters && !isAddress(m_ui->lineEditStart);
    const bool endIsWrong = matters && !isAddress(m_ui->lineEditStop);
    const quint32 start = addressOf(m_ui->lineEditStart).toIPv4Address();
    const quint32 end = addressOf(m_ui->lineEditStop).toIPv4Address();
    QString text;
    if (startIsWrong) {
        text = RangeSummary::fault(tr("start"), m_ui->lineEditStart->text());
    } else if (endIsWrong) {
        text = RangeSummary::fault(tr("end"), m_ui->lineEditStop->text());
    } else if (matters) {
        text = RangeSummary::text(start, end, m_broadcastTime.edited);
    }
    const bool isProblem = startIsWrong || endIsWrong || RangeSummary::addressCount(start, end) == 0;
    m_ui->labelRange->setText(text);
    m_ui->applyBtn->setToolTip(startIsWrong || endIsWrong ? text : QString());
    setStyleProperty(m_ui->labelRange, "role", isProblem ? QStringLiteral("error") : QStringLiteral("hint"));
    setStyleProperty(m_ui->lineEditStart, "invalid", startIsWrong);
    setStyleProperty(m_ui->lineEditStop, "invalid", endIsWrong);
}

void Settings::onChangeBroadcastTime()
{
    m_broadcastTime.edited = m_ui->doubleSpinBoxBroadcastTime->value() * 1000;
    showRange();
}

void Settings::onChangeTimeout()
{
    m_timeout.edited = m_ui->doubleSpinBoxTimeout->value() * 1000;
}

void Settings::onChangeChangeFlagManualIP()
{
    m_manualIp.edited = m_ui->checkBoxEnable->isChecked();
}

void Settings::onChangeChangeFlagUnicast()
{
    const bool on = m_ui->checkBoxEnableUnicast->isChecked();
    m_ui->lineEditStart->setEnabled(on);
    m_ui->lineEditStop->setEnabled(on);
    if (!on) {
        m_ui->applyBtn->setEnabled(true);
    }
    showRange();
}

void Settings::onIpLineEditTextChanged(const QString &text)
{
    const auto *field = qobject_cast<QLineEdit *>(sender());
    if (!field) {
        return;
    }
    const QLineEdit *other = field == m_ui->lineEditStart ? m_ui->lineEditStop : m_ui->lineEditStart;
    m_ui->applyBtn->setEnabled(parseIpv4Address(text) && isAddress(other));
    showRange();
}

void Settings::onChangeNumbeOfThreads()
{
    m_threads.edited = roundedValue(m_ui->doubleSpinBoxThreadsNumber);
}

void Settings::onChangeWaitForBytesWritten()
{
    m_waitForBytesWritten.edited = roundedValue(m_ui->doubleSpinBoxWaitForBytesWritten);
}

void Settings::onChangeWaitForReadyRead()
{
    m_waitForReadyRead.edited = roundedValue(m_ui->doubleSpinBoxWaitForReadyRead);
}

void Settings::onChangeWaitForConnected()
{
    m_waitForConnected.edited = roundedValue(m_ui->doubleSpinBoxWaitForConnected);
}

void Settings::onApply()
{
    // Switching the range off and on again leaves Apply enabled, whatever stands in the fields.
    if (m_ui->checkBoxEnableUnicast->isChecked() && !hasRange()) {
        m_ui->applyBtn->setEnabled(false);
        showRange();
        (isAddress(m_ui->lineEditStart) ? m_ui->lineEditStop : m_ui->lineEditStart)->setFocus();
        return;
    }
    applyChanges();
    onClose();
}

void Settings::applyChanges()
{
    if (m_broadcastTime.isChanged()) {
        emit signalChangeBroadcastTime(qRound(m_broadcastTime.edited));
    }
    if (m_timeout.isChanged()) {
        emit signalChangeTimeout(qRound(m_timeout.edited));
    }
    if (m_manualIp.isChanged()) {
        emit signalChangeFlagManualIP(m_manualIp.edited);
    }
    if (m_threads.isChanged()) {
        emit signalChangeNumbeOfThreads(m_threads.edited);
    }
    if (m_waitForBytesWritten.isChanged()) {
        emit signalChangeWaitForBytesWritten(m_waitForBytesWritten.edited);
    }
    if (m_waitForReadyRead.isChanged()) {
        emit signalChangeWaitForReadyRead(m_waitForReadyRead.edited);
    }
    if (m_waitForConnected.isChanged()) {
        emit signalChangeWaitForConnected(m_waitForConnected.edited);
    }
    emit signalChangeFlagUnicast(m_ui->checkBoxEnableUnicast->isChecked());
    if (m_ui->checkBoxEnableUnicast->isChecked()) {
        emit signalChangeStartIp(addressOf(m_ui->lineEditStart));
        emit signalChangeEndIp(addressOf(m_ui->lineEditStop));
    }
}

void Settings::onClose()
{
    m_closing = true;
    emit signalClose();
}

void Settings::reject()
{
    // An owner that answers signalClose with close() comes by here a second time.
    if (!m_closing) {
        onClose();
    }
    QDialog::reject();
}

bool Settings::eventFilter(QObject *watched, QEvent *event)
{
    auto *button = qobject_cast<QPushButton *>(watched);
    if (!button || event->type() != QEvent::KeyPress) {
        return QDialog::eventFilter(watched, event);
    }
    // The buttons answer to the same keys as the main window's: Return and Enter, but not Space.
    const int key = static_cast<QKeyEvent *>(event)->key();
    if (key == Qt::Key_Return || key == Qt::Key_Enter) {
        button->click();
        return true;
    }
    return key == Qt::Key_Space || QDialog::eventFilter(watched, event);
}

void Settings::mouseReleaseEvent(QMouseEvent *event)
{
    // A check box and its caption stand in two columns; a click on the words means the box.
    const auto *label = qobject_cast<QLabel *>(childAt(event->pos()));
    auto *box = label ? qobject_cast<QCheckBox *>(label->buddy()) : nullptr;
    if (box && event->button() == Qt::LeftButton) {
        box->click();
    }
}

void Settings::showEvent(QShowEvent *event)
{
    m_closing = false;
    QDialog::showEvent(event);
}
