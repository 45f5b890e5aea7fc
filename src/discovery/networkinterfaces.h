#pragma once

#include "interfaces.h"

#include <QDialog>
#include <QList>

#include <memory>

class QCheckBox;

namespace Ui {
class NetworkInterfaces;
}

// The choice of the addresses that a scan broadcasts from: owns the list of them and shows it with a
// tick box each. The window keeps one for its list, and opens another for the user to change a copy.
// The dialog asks to be closed and never closes itself: that is for whoever opened it.
class NetworkInterfaces : public QDialog
{
    Q_OBJECT

public:
    explicit NetworkInterfaces(QWidget *parent = nullptr);
    ~NetworkInterfaces() override;

    const QList<interfaces_t> &interfaces() const { return m_interfaces; }

    // Takes over a list and shows it.
    void setInterfaces(const QList<interfaces_t> &interfaces);

    // Replaces the list by the computer's addresses of this moment, with the ticks kept by name, and
    // shows it.
    void refresh();
    // The list as it is after a refresh.
    QList<interfaces_t> current();

    // Shows the list; ticks that were not applied are lost.
    void fillTable();

    // Esc and the window's close button: as Cancel.
    void reject() override;

public slots:
    void onApply();

signals:
    // Apply: the whole list with its new ticks.
    void signalUpdateNetworkList(QList<interfaces_t> list);

    // Cancel: nothing was changed.
    void signalClose();

private:
    void setUpTable();
    void addRow(int row, const interfaces_t &interface);
    QCheckBox *tickBox(int row) const;

    std::unique_ptr<Ui::NetworkInterfaces> m_ui;
    QList<interfaces_t> m_interfaces;
};
