#pragma once

#include "networksettingsrow.h"

#include <QAbstractTableModel>
#include <QFont>
#include <QHash>
#include <QVector>

#include <set>

// A new text for one address cell of the model.
struct CellEdit
{
    int row;
    int column;
    QString text;
};

// The instruments of the dialog for many of them: what they report, what the user made of it, and what
// is wrong with that. Owned by the dialog; rows keep the order of the instrument list whatever the view
// shows. Only the last three columns can be changed, and only where a MAC address names the instrument.
//
// Rows that nobody changed are not judged: an instrument may report a gateway of 0.0.0.0, and that must
// not stand in the way of the others. All counts are kept with each change, so that a keystroke costs
// the same among five thousand rows.
class NetworkSettingsModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    // SortRole orders addresses by their number; ReportedRole is the text that the instrument reported.
    enum Role { SortRole = Qt::UserRole, MarkRole, ReportedRole };

    // Shared: another row has the same IP address, which is allowed (the other one may move away later).
    enum Mark { NoMark, InvalidMark, SharedMark };

    explicit NetworkSettingsModel(const QList<QStringList> &rows, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;

    // Many cells at once, told of once. Cells that cannot be changed are passed over.
    void setCells(const QVector<CellEdit> &edits);

    bool isEditable(int row, int column) const;

    QList<QStringList> rows() const;        // as they stand, reported or changed
    QList<QStringList> changedRows() const; // those of them with a new address, mask or gateway
    int changedCount() const { return m_changedCount; }
    int sharedAddressCount() const { return m_sharedAddresses; }

    // Changed rows that cannot be sent; the first of them, -1 when there is none, and what is wrong.
    int invalidCount() const { return static_cast<int>(m_invalidRows.size()); }
    QModelIndex firstInvalidCell() const;
    QString firstProblem() const;

    // The first `count` of changedRows() were sent: what they hold now counts as reported.
    void acceptFirstChanged(int count);

    // These rows were sent from elsewhere: their settings count as reported by the instruments that they
    // name, and cells show them unless they were changed.
    void acceptSent(const QList<QStringList> &sent);

signals:
    void signalChanged(); // any cell has a new text

private:
    struct Row
    {
        QStringList texts;
        QStringList reported;
        bool named = false; // its MAC text names an instrument
        bool changed = false;
    };

    Mark mark(int row, int column) const;
    QString toolTip(int row, int column) const;
    bool isCellChanged(const Row &row, int column) const;
    QStringList trimmed(const QStringList &texts) const;
    void judge(int row);
    void countAddress(const QString &text, int change);

    QFont m_numberFont;
    QVector<Row> m_rows;
    QHash<quint32, int> m_addressUses; // how many rows have an IP address
    std::set<int> m_invalidRows;
    int m_changedCount = 0;
    int m_sharedAddresses = 0;
};
