#include "jsonreader.h"

#include "networkidentity.h"

#include <cmath>

JsonReader::JsonReader(const QJsonObject &object, const QString &where, QString &error)
    : m_object(object), m_where(where), m_error(error)
{}

JsonReader JsonReader::part(const char *key)
{
    QJsonObject part;
    object(key, part);
    return {part, m_where + QStringLiteral(", ") + QLatin1String(key), m_error};
}

bool JsonReader::take(const char *key, QJsonValue::Type type, const char *expected, QJsonValue &value)
{
    m_asked.insert(QLatin1String(key));
    value = m_object.value(QLatin1String(key));
    if (has(key) && value.type() != type) {
        fail(key, QLatin1String(expected));
    }
    return value.type() == type;
}

void JsonReader::text(const char *key, QString &value)
{
    QJsonValue given;
    if (take(key, QJsonValue::String, "a text", given)) {
        value = given.toString();
    }
}

void JsonReader::text(const char *key, QByteArray &value)
{
    QString text = QString::fromLatin1(value);
    this->text(key, text);
    value = text.toLatin1();
}

void JsonReader::requiredText(const char *key, QString &value)
{
    if (!has(key)) {
        fail(key, QStringLiteral("given"));
    }
    text(key, value);
}

void JsonReader::texts(const char *key, QMap<QString, QString> &values)
{
    QJsonObject given;
    object(key, given);
    for (auto text = given.constBegin(); text != given.constEnd(); ++text) {
        if (!text->isString()) {
            fail(key, QStringLiteral("an object of texts"));
        }
        values.insert(text.key(), text->toString());
    }
}

void JsonReader::number(const char *key, int &value, int least, int most)
{
    const QString expected = QStringLiteral("a whole number from %1 to %2").arg(least).arg(most);
    QJsonValue given;
    if (!take(key, QJsonValue::Double, qPrintable(expected), given)) {
        return;
    }
    const double number = given.toDouble();
    if (number >= least && number <= most && std::floor(number) == number) {
        value = static_cast<int>(number);
    } else {
        fail(key, expected);
    }
}

void JsonReader::flag(const char *key, bool &value)
{
    QJsonValue given;
    if (take(key, QJsonValue::Bool, "true or false", given)) {
        value = given.toBool();
    }
}

void JsonReader::address(const char *key, quint32 &value)
{
    QJsonValue given;
    if (!take(key, QJsonValue::String, "an IPv4 address", given)) {
        return;
    }
    const auto address = addressFromText(given.toString());
    if (!address) {
        fail(key, QStringLiteral("an IPv4 address"));
    }
    value = address.value_or(value);
}

void JsonReader::object(const char *key, QJsonObject &value)
{
    QJsonValue given;
    if (take(key, QJsonValue::Object, "an object", given)) {
        value = given.toObject();
    }
}

void JsonReader::array(const char *key, QJsonArray &value)
{
    QJsonValue given;
    if (take(key, QJsonValue::Array, "an array", given)) {
        value = given.toArray();
    } else {
        fail(key, QStringLiteral("an array"));
    }
}

void JsonReader::fail(const char *key, const QString &expected)
{
    if (m_error.isEmpty()) {
        m_error = QStringLiteral("%1: \"%2\" must be %3").arg(m_where, QLatin1String(key), expected);
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
