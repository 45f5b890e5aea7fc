#include "textresource.h"

#include <QFile>
#include <QIcon>

QString textResource(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray bytes = file.readAll();
    const auto end = bytes.indexOf('\0');
    return QString::fromLatin1(end < 0 ? bytes : bytes.left(end));
}

QPixmap logo(int height)
{
    // Through an icon, because a pixmap by itself never takes the file for dense screens.
    const QIcon icon(QStringLiteral(":/images/resources/images/quorvex_logo.png"));
    const QList<QSize> sizes = icon.availableSizes();
    if (sizes.isEmpty()) {
        return {};
    }
    const QSize drawn = sizes.first();
    return icon.pixmap(height > 0 ? drawn.scaled(drawn.width(), height, Qt::KeepAspectRatio) : drawn);
}
