#include "networksettingsdelegate.h"

#include "cellmarks.h"
#include "networksettingsmodel.h"
#include "spreadsheettext.h"
#include "styleproperty.h"
#include "tabularfont.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QLineEdit>

namespace {

constexpr int longestAddress = 64; // characters; an IPv4 address has 15
constexpr const char *textBefore = "textBefore";

cellmarks::Colours markColours(const QModelIndex &index)
{
    switch (index.data(NetworkSettingsModel::MarkRole).toInt()) {
    case NetworkSettingsModel::InvalidMark:
        return {QColor(cellmarks::wrong), QColor(cellmarks::wrongGround)};
    case NetworkSettingsModel::SharedMark:
        return {QColor(cellmarks::shared), QColor(cellmarks::sharedGround)};
    default:
        return {};
    }
}

} // namespace

void NetworkSettingsDelegate::initStyleOption(QStyleOptionViewItem *option, const QModelIndex &index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    const QColor ground = markColours(index).ground;
    if (ground.isValid()) {
        option->backgroundBrush = ground;
    } else if (!(index.flags() & Qt::ItemIsEditable)) {
        option->backgroundBrush = option->palette.brush(QPalette::AlternateBase);
    }
}

void NetworkSettingsDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                                    const QModelIndex &index) const
{
    QStyleOptionViewItem cell(option);
    cell.state.setFlag(QStyle::State_HasFocus, false); // the style's own mark would move the text
    QStyledItemDelegate::paint(painter, cell, index);
    QRect place = option.rect;
    if (option.state.testFlag(QStyle::State_HasFocus)) {
        place = cellmarks::drawFrame(painter, place, cellmarks::focus);
    }
    // A frame besides the ground, which is not seen in a selected cell.
    const QColor mark = markColours(index).frame;
    if (mark.isValid()) {
        cellmarks::drawFrame(painter, place, mark);
    }
}

QWidget *NetworkSettingsDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                                               const QModelIndex &index) const
{
    Q_UNUSED(option)
    auto *editor = new QLineEdit(parent);
    editor->setFrame(false);
    editor->setFont(tabularFont()); // as the cell's text
    editor->setMaxLength(longestAddress);
    editor->setProperty(textBefore, index.data(Qt::EditRole));
    connect(editor, &QLineEdit::textEdited, this, &NetworkSettingsDelegate::onTextEdited);
    return editor;
}

void NetworkSettingsDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    auto *lineEdit = static_cast<QLineEdit *>(editor);
    const QString text = index.data(Qt::EditRole).toString();
    if (lineEdit->text() != text) { // setText would send the cursor to the end of what is being typed
        lineEdit->setText(text);
    }
    const bool invalid = index.data(NetworkSettingsModel::MarkRole) == NetworkSettingsModel::InvalidMark;
    setStyleProperty(editor, "invalid", invalid);
}

bool NetworkSettingsDelegate::eventFilter(QObject *editor, QEvent *event)
{
    auto *lineEdit = qobject_cast<QLineEdit *>(editor);
    if (!lineEdit || event->type() != QEvent::KeyPress) {
        return QStyledItemDelegate::eventFilter(editor, event);
    }
    const auto *key = static_cast<QKeyEvent *>(event);
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
        emit commitData(lineEdit);
        emit closeEditor(lineEdit, NoHint);
        emit signalReturnPressed();
        return true;
    }
    if (key->matches(QKeySequence::Paste) && isBlockOfCells(QApplication::clipboard()->text())) {
        emit closeEditor(lineEdit, NoHint);
        emit signalPasteCells();
        return true;
    }
    if (key->key() == Qt::Key_Escape) {
        lineEdit->setText(lineEdit->property(textBefore).toString());
        emit commitData(lineEdit);
    }
    return QStyledItemDelegate::eventFilter(editor, event);
}

void NetworkSettingsDelegate::onTextEdited()
{
    emit commitData(static_cast<QWidget *>(sender()));
}
