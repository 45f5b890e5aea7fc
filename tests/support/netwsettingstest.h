#pragma once

#include "networksettingsmodel.h"
#include "newnetwsettings.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

using Rows = QList<QStringList>;

inline QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

// The real dialog on the offscreen platform, with an owner that takes its rows as the window does: hands
// every row on and says how far it is.
class NetwSettingsTest : public QObject
{
    Q_OBJECT

protected:
    void open(const Rows &rows);
    void send(const Rows &rows);
    void type(int shownRow, int column, const QString &typed, bool commit = true);
    void select(int top, int left, int bottom, int right);
    void paste(QWidget *target, const char *clipboard);
    QString upload(const QByteArray &content);
    QString sent() const;

    void click(const char *button) { QTest::mouseClick(find<QAbstractButton>(button), Qt::LeftButton); }
    void answer(QMessageBox::StandardButton with) { QTest::mouseClick(box()->button(with), Qt::LeftButton); }
    QModelIndex cell(int shownRow, int column) const { return m_table->model()->index(shownRow, column); }
    QString shown(int shownRow, int column) const { return cell(shownRow, column).data().toString(); }
    QString column(int number, int role = Qt::DisplayRole) const;
    bool canApply() const { return find<QAbstractButton>("applyBtn")->isEnabled(); }
    QString reason() const { return find<QLabel>("labelReason")->text(); }
    QString status() const { return find<QLabel>("labelStatus")->text(); }
    QLineEdit *editor() const { return qobject_cast<QLineEdit *>(QApplication::focusWidget()); }
    QMessageBox *box() const { return m_dialog->findChild<QMessageBox *>(); }
    bool isOpen() const { return m_dialog->isVisible() && m_closed->isEmpty(); }
    bool isClosed() const { return !m_dialog->isVisible() && m_closed->size() == 1; }

    template <typename Widget>
    Widget *find(const char *name) const
    {
        return m_dialog->findChild<Widget *>(QString::fromLatin1(name));
    }

    std::unique_ptr<NewNetwSettings> m_dialog;
    std::unique_ptr<QSignalSpy> m_closed;
    QTableView *m_table = nullptr;
    Rows m_sent;
    int m_stopBefore = -1; // the row before which the user presses "Stop"
    QTemporaryDir m_folder;
};
