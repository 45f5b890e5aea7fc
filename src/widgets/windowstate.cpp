#include "windowstate.h"

#include <QDir>
#include <QFileInfo>
#include <QHeaderView>
#include <QSaveFile>
#include <QScreen>
#include <QSplitter>
#include <QStandardPaths>
#include <QTableView>
#include <QWidget>

#include <algorithm>

namespace {

constexpr qint64 largestFile = 4096; // what is written is 200 bytes
constexpr int widestColumn = 2000;
constexpr int narrowestColumn = 40;
constexpr QSize smallestScreen(1024, 700); // that everything fits on
constexpr int mostPixels = 32767;          // of a window's side, as window systems count

const QString windowKey = QStringLiteral("window"); // width, height, 1 if maximized
const QString splitterKey = QStringLiteral("splitter");

bool isWithin(const QList<int> &numbers, int least, int most)
{
    return std::all_of(numbers.begin(), numbers.end(),
                       [least, most](int number) { return number >= least && number <= most; });
}

QByteArray line(const QString &key, const QList<int> &numbers)
{
    QStringList texts;
    for (const int number : numbers) {
        texts.append(QString::number(number));
    }
    return QStringLiteral("%1=%2\n").arg(key, texts.join(QLatin1Char(','))).toUtf8();
}

bool isDraggable(const QHeaderView *header, int column)
{
    const bool stretched = header->stretchLastSection() && column == header->count() - 1;
    return header->sectionResizeMode(column) == QHeaderView::Interactive && !stretched;
}

} // namespace

WindowState::WindowState(QWidget *window, QSplitter *splitter, const QList<QTableView *> &tables,
                         QString path)
    : m_window(window), m_splitter(splitter), m_tables(tables), m_path(std::move(path))
{}

QString WindowState::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation) +
           QLatin1String("/windowState.ini");
}

void WindowState::restore()
{
    const QHash<QString, Numbers> state = read();
    const Numbers window = state.value(windowKey);
    QSize size = m_window->size();
    if (window.size() == 3 && isWithin(window, 0, mostPixels)) {
        size = QSize(window.at(0), window.at(1)).expandedTo(m_window->minimumSizeHint());
        if (window.at(2) == 1) {
            m_window->setWindowState(m_window->windowState() | Qt::WindowMaximized);
        }
    }
    const QSize available = m_window->screen() ? m_window->screen()->availableSize() : QSize();
    if (available.width() >= smallestScreen.width() && available.height() >= smallestScreen.height()) {
        size = size.boundedTo(available);
    }
    m_window->resize(size);
    const Numbers splitter = state.value(splitterKey);
    if (splitter.size() == m_splitter->count() && isWithin(splitter, 1, mostPixels)) {
        m_splitter->setSizes(splitter);
    }
    for (QTableView *table : qAsConst(m_tables)) {
        restoreColumns(table, state.value(table->objectName()));
    }
}

void WindowState::restoreColumns(QTableView *table, const Numbers &widths) const
{
    const QHeaderView *header = table->horizontalHeader();
    if (widths.size() != header->count()) {
        return;
    }
    for (int column = 0; column < header->count(); ++column) {
        if (isDraggable(header, column) && isWithin({widths.at(column)}, narrowestColumn, widestColumn)) {
            table->setColumnWidth(column, widths.at(column));
        }
    }
}

void WindowState::save() const
{
    const bool large = m_window->isMaximized() || m_window->isFullScreen();
    const QSize size = large ? m_window->normalGeometry().size() : m_window->size();
    QByteArray content = line(windowKey, {size.width(), size.height(), m_window->isMaximized() ? 1 : 0}) +
                         line(splitterKey, m_splitter->sizes());
    for (const QTableView *table : m_tables) {
        Numbers widths;
        for (int column = 0; column < table->horizontalHeader()->count(); ++column) {
            widths.append(table->columnWidth(column));
        }
        content += line(table->objectName(), widths);
    }
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSaveFile file(m_path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(content);
        file.commit();
    }
}

// Lines that are not of the form name=numbers are passed over. Anything but a plain file is not opened:
// reading from a pipe would wait for ever.
QHash<QString, WindowState::Numbers> WindowState::read() const
{
    QFile file(m_path);
    QHash<QString, Numbers> state;
    if (!QFileInfo(m_path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return state;
    }
    const QStringList lines = QString::fromUtf8(file.read(largestFile)).split(QLatin1Char('\n'));
    for (const QString &text : lines) {
        const int equals = text.indexOf(QLatin1Char('='));
        bool good = equals > 0;
        Numbers numbers;
        for (const QString &number : text.mid(equals + 1).split(QLatin1Char(','))) {
            bool isNumber = false;
            numbers.append(number.trimmed().toInt(&isNumber));
            good = good && isNumber;
        }
        if (good) {
            state.insert(text.left(equals), numbers);
        }
    }
    return state;
}
