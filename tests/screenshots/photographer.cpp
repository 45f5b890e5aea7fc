#include "photographer.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QMessageBox>
#include <QTest>

namespace {

constexpr int settleMs = 50; // the style sheet's last polish and the layout it asks for
constexpr int patienceMs = 120000;
constexpr int boxPatienceMs = 30000;

} // namespace

void waitUntil(const std::function<bool()> &reached)
{
    if (!QTest::qWaitFor(reached, patienceMs)) {
        qFatal("waited in vain");
    }
}

Photographer::Photographer(QString folder, QString suffix)
    : m_folder(std::move(folder)), m_suffix(std::move(suffix))
{
    connect(&m_timer, &QTimer::timeout, this, &Photographer::takeModal);
    m_timer.start(settleMs);
}

void Photographer::take(QWidget *widget, const QString &name)
{
    QTest::qWait(settleMs);
    const QString path = QStringLiteral("%1/%2%3.png").arg(m_folder, name, m_suffix);
    if (!widget->grab().save(path)) {
        qFatal("cannot write %s", qPrintable(path));
    }
}

void Photographer::takeBoxes(const QString &name, const std::function<void()> &action, const QString &answer)
{
    m_boxName = name;
    m_answer = answer;
    m_boxes = 0;
    action();
    if (!QTest::qWaitFor([this] { return m_boxes > 0 && !m_taking; }, boxPatienceMs)) {
        qFatal("no message box came for %s", qPrintable(name));
    }
    m_boxName.clear();
    m_answer.clear();
}

void Photographer::takeDialog(QWidget *parent, const std::function<void()> &open, const QString &name,
                              const std::function<void(QDialog *)> &prepare)
{
    const QList<QDialog *> before = parent->findChildren<QDialog *>();
    open();
    const QList<QDialog *> after = parent->findChildren<QDialog *>();
    for (QDialog *dialog : after) {
        if (before.contains(dialog)) {
            continue;
        }
        if (prepare) {
            prepare(dialog);
        }
        take(dialog, name);
        dialog->close();
        QTest::qWait(0);
        return;
    }
    qFatal("no dialog came for %s", qPrintable(name));
}

void Photographer::takeModal()
{
    QWidget *modal = QApplication::activeModalWidget();
    const bool wanted = qobject_cast<QMessageBox *>(modal) || qobject_cast<QFileDialog *>(modal);
    if (!wanted || !modal->isVisible() || m_taking) {
        return;
    }
    m_taking = true;
    ++m_boxes;
    take(modal, m_boxes == 1 ? m_boxName : QStringLiteral("%1-%2").arg(m_boxName).arg(m_boxes));
    m_taking = false;
    const QList<QAbstractButton *> buttons = modal->findChildren<QAbstractButton *>();
    for (QAbstractButton *button : buttons) {
        if (!m_answer.isEmpty() && button->text().remove(QLatin1Char('&')) == m_answer) {
            button->click();
            return;
        }
    }
    QTest::keyClick(modal, Qt::Key_Escape);
}
