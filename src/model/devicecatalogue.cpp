#include "devicecatalogue.h"

#include "devicetables.h"

#include <QDomDocument>
#include <QFile>
#include <QHash>

#include <array>

namespace {

using Row = std::array<QString, devicecatalogue::entryCount>;
using Index = QHash<QString, Row>;

Row rowOf(const QDomNode &device)
{
    Row row;
    const QDomNodeList children = device.childNodes();
    for (int i = 0; i < devicecatalogue::entryCount; ++i) {
        row[static_cast<std::size_t>(i)] = children.at(i).firstChild().nodeValue();
    }
    return row;
}

// Depth first in document order; the first element with a text keeps it. Every element counts, not
// only `id`, because that is what a search for the text would find.
void addElementsBelow(const QDomNode &parent, Index &index)
{
    for (QDomElement child = parent.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        const QString text = child.text();
        if (!index.contains(text)) {
            index.insert(text, rowOf(parent));
        }
        addElementsBelow(child, index);
    }
}

Index readCatalogue()
{
    Index index;
    QFile file(QStringLiteral(":/files/resources/devices.xml"));
    QDomDocument document;
    if (file.open(QIODevice::ReadOnly) && document.setContent(&file)) {
        addElementsBelow(document.documentElement(), index);
    }
    return index;
}

const Index &catalogueIndex()
{
    static const Index index = readCatalogue();
    return index;
}

bool sameFamily(const QString &code, const QString &reference)
{
    const QString family = devicecatalogue::family(code);
    return !family.isEmpty() && family == devicecatalogue::family(reference);
}

} // namespace

namespace devicecatalogue {

QString lookup(const QString &code, int index)
{
    if (index < 0 || index >= entryCount) {
        return {};
    }
    const auto row = catalogueIndex().constFind(code);
    return row == catalogueIndex().constEnd() ? QString() : (*row)[static_cast<std::size_t>(index)];
}

QString id(const QString &code)
{
    return lookup(code, IdEntry);
}

QString family(const QString &code)
{
    return lookup(code, FamilyEntry);
}

QString group(const QString &code)
{
    return lookup(code, GroupEntry);
}

QString image(const QString &code)
{
    return lookup(code, ImageEntry);
}

QString desc(const QString &code)
{
    return lookup(code, DescEntry);
}

bool contains(const QString &code)
{
    return !id(code).isEmpty();
}

bool isPowerSupply(const QString &code)
{
    return sameFamily(code, QStringLiteral("1100"));
}

bool isBeamline(const QString &code)
{
    return sameFamily(code, QStringLiteral("2100"));
}

bool isCurrentTransducer(const QString &code)
{
    return sameFamily(code, QStringLiteral("3100"));
}

bool isSerialServer(const QString &code)
{
    return code == QLatin1String("4200") || is4100(code);
}

bool is4100(const QString &code)
{
    return code == QLatin1String("4100");
}

bool is1F80(const QString &code)
{
    return code == QLatin1String("1F80");
}

bool is1400(const QString &code)
{
    return code == QLatin1String("1400");
}

bool is2180(const QString &code)
{
    return code == QLatin1String("2180");
}

bool is1600(const QString &code)
{
    return code == QLatin1String("1600");
}

bool is6100(const QString &code)
{
    return code == QLatin1String("6100");
}

bool is1900(const QString &code)
{
    return code == QLatin1String("1900");
}

QString deviceIconPath(const QString &code, const QString &brand)
{
    QString path = image(code);
    if (!is1900(code)) {
        return path;
    }
    const int key = devicetables::brandKey(brand);
    if (key < 1) {
        return path; // the maker's own dress, or a brand nobody knows
    }
    return path.section(QLatin1Char('.'), 0, 0, QString::SectionSkipEmpty) +
           devicetables::brandIconSuffix(key);
}

} // namespace devicecatalogue
