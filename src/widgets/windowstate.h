#pragma once

#include <QHash>
#include <QList>
#include <QString>

class QSplitter;
class QTableView;
class QWidget;

// Remembers between runs how large the window was, where its splitter stood and how wide the columns
// that the user may drag were. The file is its own (the settings file holds only settings): one line
// name=number,number,... for each. Whatever cannot be read, or makes no sense on this screen, is left as
// the form has it; a file that cannot be written is not worth a message.
class WindowState
{
public:
    WindowState(QWidget *window, QSplitter *splitter, const QList<QTableView *> &tables,
                QString path = defaultPath());

    static QString defaultPath();

    // Also keeps a window that never was resized within its screen.
    void restore();
    void save() const;

private:
    using Numbers = QList<int>;

    QHash<QString, Numbers> read() const;
    void restoreColumns(QTableView *table, const Numbers &widths) const;

    QWidget *m_window;
    QSplitter *m_splitter;
    QList<QTableView *> m_tables;
    QString m_path;
};
