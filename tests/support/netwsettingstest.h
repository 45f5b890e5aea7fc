#pragma once

#include "networksettingsmodel.h"
#include "newnetwsettings.h"

#include <QAbstractButton>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using Rows = QList<QStringList>;

QString text(const char *utf8);

// The row of instrument `n`: "SNn" with a MAC address that ends in n.
QStringList row(int n, const char *ip, const char *mask = "255.0.0.0", const char *gateway = "10.0.0.254");

// Instruments 1 to 3 at 10.0.0.10, 10.0.0.9 and 2.0.0.1.
Rows threeRows();

// The real dialog on the offscreen platform, with an owner that takes its rows as the window does: hands
// every row on and says how far it is. Base of the tests of the dialog.
class NetwSettingsTest : public QObject
{
    Q_OBJECT

protected:
    void open(const Rows &rows = threeRows());
    void send(const Rows &rows);
    void type(int shownRow, int column, const char *typed, bool commit = true);
    void select(int top, int left, int bottom, int right);
    void paste(QWidget *target, const QString &clipboard);
    QString upload(const QByteArray &content);
    void click(const char *button) { QTest::mouseClick(find<QAbstractButton>(button), Qt::LeftButton); }
    void acceptBox() { QTest::mouseClick(box()->button(QMessageBox::Ok), Qt::LeftButton); }
    QModelIndex cell(int shownRow, int column) const { return m_table->model()->index(shownRow, column); }
    QString shown(int shownRow, int column) const { return cell(shownRow, column).data().toString(); }
    QStringList column(int number) const;
    int mark(int shownRow, int column) const
    {
        return cell(shownRow, column).data(NetworkSettingsModel::MarkRole).toInt();
    }
    bool canApply() const { return find<QPushButton>("applyBtn")->isEnabled(); }
    QString reason() const { return find<QLabel>("labelReason")->text(); }
    QString status() const { return find<QLabel>("labelStatus")->text(); }
    QLineEdit *editor() const { return qobject_cast<QLineEdit *>(QApplication::focusWidget()); }
    QMessageBox *box() const { return m_dialog->findChild<QMessageBox *>(); }

    template <typename Widget>
    Widget *find(const char *name) const
    {
        return m_dialog->findChild<Widget *>(text(name));
    }

    std::unique_ptr<NewNetwSettings> m_dialog;
    std::unique_ptr<QSignalSpy> m_closed;
    QTableView *m_table = nullptr;
    Rows m_sent;
    int m_stopBefore = -1; // the row before which the user presses "Stop"
    QTemporaryDir m_folder;
};
