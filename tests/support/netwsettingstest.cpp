#include "netwsettingstest.h"

#include <QClipboard>
#include <QFile>

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

QStringList row(int n, const char *ip, const char *mask, const char *gateway)
{
    const QString mac = QStringLiteral("00:1A:2B:00:00:%1").arg(n, 2, 16, QLatin1Char('0'));
    return {text("Bipolar"), QStringLiteral("SN%1").arg(n), mac, text(ip), text(mask), text(gateway)};
}

Rows threeRows()
{
    return {row(1, "10.0.0.10"), row(2, "10.0.0.9"), row(3, "2.0.0.1")};
}

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

void NetwSettingsTest::type(int shownRow, int column, const char *typed, bool commit)
{
    m_table->setFocus();
    m_table->setCurrentIndex(cell(shownRow, column));
    QTest::keyClick(m_table, Qt::Key_F2);
    QVERIFY(editor());
    QTest::keyClick(editor(), Qt::Key_Delete); // all of it is selected
    QTest::keyClicks(editor(), text(typed));
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

void NetwSettingsTest::paste(QWidget *target, const QString &clipboard)
{
    QApplication::clipboard()->setText(clipboard);
    QTest::keySequence(target, QKeySequence::Paste);
}

// Loads a file of this content and returns the text of the message, which stays open.
QString NetwSettingsTest::upload(const QByteArray &content)
{
    QFile file(m_folder.filePath(text("upload.csv")));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        return {};
    }
    file.close();
    m_dialog->setFileChoosers({}, [&file] { return file.fileName(); });
    click("uploadFileBtn");
    return box() ? box()->windowTitle() + QLatin1Char('|') + box()->text() : QString();
}

QStringList NetwSettingsTest::column(int number) const
{
    QStringList texts;
    for (int i = 0; i < m_table->model()->rowCount(); ++i) {
        texts.append(shown(i, number));
    }
    return texts;
}
