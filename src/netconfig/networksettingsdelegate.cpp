#include "networksettingsdelegate.h"

#include "markcolours.h"
#include "networksettingsmodel.h"
#include "spreadsheettext.h"

#include <QApplication>
#include <QClipboard>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QStyle>

namespace {

constexpr int frameWidth = 2;
constexpr int longestAddress = 64; // characters; an IPv4 address has 15
constexpr const char *textBefore = "textBefore";

// Of a cell with a mark; invalid colours for one without.
struct MarkColours
{
    QColor frame;
    QColor ground;
};

MarkColours markColours(const QModelIndex &index)
{
    switch (index.data(NetworkSettingsModel::MarkRole).toInt()) {
    case NetworkSettingsModel::InvalidMark:
        return {QColor(markcolours::wrong), QColor(markcolours::wrongGround)};
    case NetworkSettingsModel::SharedMark:
        return {QColor(markcolours::shared), QColor(markcolours::sharedGround)};
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
    QStyledItemDelegate::paint(painter, option, index);
    const QColor colour = markColours(index).frame;
    if (!colour.isValid()) {
        return;
    }
    // A frame besides the ground, which is not seen in a selected cell.
    const qreal inset = frameWidth / 2.0;
    painter->save();
    painter->setPen(QPen(colour, frameWidth));
    painter->drawRect(QRectF(option.rect).adjusted(inset, inset, -inset, -inset));
    painter->restore();
}

QWidget *NetworkSettingsDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                                               const QModelIndex &index) const
{
    Q_UNUSED(option)
    auto *editor = new QLineEdit(parent);
    editor->setFrame(false);
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
    if (editor->property("invalid").toBool() != invalid) {
        editor->setProperty("invalid", invalid);
        editor->style()->unpolish(editor);
        editor->style()->polish(editor);
    }
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
