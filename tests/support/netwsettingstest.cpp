#include "netwsettingstest.h"

#include <QClipboard>
#include <QFile>

using namespace networkrow;

void NetwSettingsTest::open(const Rows &rows)
{
    m_dialog = std::make_unique<NewNetwSettings>(rows);
    m_closed = std::make_unique<QSignalSpy>(m_dialog.get(), &NewNetwSettings::signalClose);
    m_table = find<QTableView>("tableNetwSettings");
    m_sent.clear();
    m_stopBefore = -1;
    connect(m_dialog.get(), &NewNetwSettings::signalApply, this, &NetwSettingsTest::send);
    m_dialog->show();
    QVERIFY(QTest::qWaitForWindowActive(m_dialog.get()));
}

void NetwSettingsTest::send(const Rows &rows)
{
    for (int i = 0; i < rows.size(); ++i) {
        if (i == m_stopBefore) {
            click("stopBtn");
        }
        if (!m_dialog->onProgress(i, rows.size())) {
            break;
        }
        m_sent.append(rows.at(i));
    }
    m_dialog->onApplied();
}

// "1=1.0.0.1 2=10.0.0.9/255.255.0.0": by MAC address; what differs from what row() says.
QString NetwSettingsTest::sent() const
{
    QStringList texts;
    for (const QStringList &row : m_sent) {
        texts.append(row.at(MacColumn).right(1) + QLatin1Char('=') + row.at(IpColumn));
        texts.last() +=
            row.at(NetmaskColumn) == text("255.0.0.0") ? QString() : text("/") + row.at(NetmaskColumn);
        texts.last() +=
            row.at(GatewayColumn) == text("10.0.0.254") ? QString() : text("@") + row.at(GatewayColumn);
    }
    return texts.join(QLatin1Char(' '));
}

void NetwSettingsTest::type(int shownRow, int column, const QString &typed, bool commit)
{
    m_table->setFocus();
    m_table->setCurrentIndex(cell(shownRow, column));
    QTest::keyClick(m_table, Qt::Key_F2);
    QVERIFY(editor());
    QTest::keyClick(editor(), Qt::Key_Delete); // all of it is selected
    QTest::keyClicks(editor(), typed);
    if (commit) {
        QTest::keyClick(editor(), Qt::Key_Return);
    }
}

void NetwSettingsTest::select(int top, int left, int bottom, int right)
{
    m_table->setFocus();
    m_table->setCurrentIndex(cell(top, left));
    m_table->selectionModel()->select(QItemSelection(cell(top, left), cell(bottom, right)),
                                      QItemSelectionModel::ClearAndSelect);
}

void NetwSettingsTest::paste(QWidget *target, const char *clipboard)
{
    QApplication::clipboard()->setText(text(clipboard));
    QTest::keySequence(target, QKeySequence::Paste);
}

QString NetwSettingsTest::column(int number, int role) const
{
    QStringList texts;
    for (int i = 0; i < m_table->model()->rowCount(); ++i) {
        texts.append(cell(i, number).data(role).toString());
    }
    return texts.join(QLatin1Char(' '));
}

// Loads a file of this content and returns what the message says, which stays open.
QString NetwSettingsTest::upload(const QByteArray &content)
{
    QFile file(m_folder.filePath(text("upload.csv")));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        return {};
    }
    file.close();
    m_dialog->setFileChoosers({}, [&file] { return file.fileName(); });
    click("uploadFileBtn");
    return box() ? QStringList{box()->windowTitle(), box()->text(), box()->informativeText(),
                               box()->detailedText()}
                       .join(QLatin1Char('|'))
                 : QString();
}
