#include "jsonreader.h"

#include "networkidentity.h"

#include <cmath>
#include <utility>

JsonReader::JsonReader(QJsonObject object, QString where)
    : m_object(std::move(object)), m_where(std::move(where))
{}

std::optional<QJsonValue> JsonReader::take(const QString &key)
{
    m_asked.insert(key);
    const auto value = m_object.constFind(key);
    return value == m_object.constEnd() ? std::nullopt : std::make_optional<QJsonValue>(*value);
}

QString JsonReader::text(const QString &key, const QString &otherwise)
{
    const auto value = take(key);
    if (value && !value->isString()) {
        fail(key, QStringLiteral("a text"));
    }
    return value ? value->toString() : otherwise;
}

QString JsonReader::requiredText(const QString &key)
{
    if (!has(key)) {
        fail(key, QStringLiteral("given"));
    }
    return text(key, {});
}

int JsonReader::number(const QString &key, int otherwise, int least, int most)
{
    const auto value = take(key);
    if (!value) {
        return otherwise;
    }
    const double number = value->toDouble(std::nan(""));
    if (!(number >= least && number <= most && std::floor(number) == number)) {
        fail(key, QStringLiteral("a whole number from %1 to %2").arg(least).arg(most));
        return otherwise;
    }
    return static_cast<int>(number);
}

bool JsonReader::flag(const QString &key, bool otherwise)
{
    const auto value = take(key);
    if (value && !value->isBool()) {
        fail(key, QStringLiteral("true or false"));
    }
    return value ? value->toBool() : otherwise;
}

quint32 JsonReader::address(const QString &key, quint32 otherwise)
{
    const auto value = take(key);
    if (!value) {
        return otherwise;
    }
    const auto address = addressFromText(value->toString());
    if (!address) {
        fail(key, QStringLiteral("an IPv4 address"));
    }
    return address.value_or(otherwise);
}

QJsonObject JsonReader::object(const QString &key)
{
    const auto value = take(key);
    if (value && !value->isObject()) {
        fail(key, QStringLiteral("an object"));
    }
    return value ? value->toObject() : QJsonObject();
}

QJsonArray JsonReader::array(const QString &key)
{
    const auto value = take(key);
    if (!value || !value->isArray()) {
        fail(key, QStringLiteral("an array"));
    }
    return value ? value->toArray() : QJsonArray();
}

void JsonReader::fail(const QString &key, const QString &expected)
{
    if (m_error.isEmpty()) {
        m_error = QStringLiteral("%1: \"%2\" must be %3").arg(m_where, key, expected);
    }
}

void JsonReader::adopt(const JsonReader &part)
{
    if (m_error.isEmpty()) {
        m_error = part.error();
    }
}

void JsonReader::finish()
{
    for (const QString &key : m_object.keys()) {
        if (m_error.isEmpty() && !m_asked.contains(key)) {
            m_error = QStringLiteral("%1: unknown key \"%2\"").arg(m_where, key);
        }
    }
}
