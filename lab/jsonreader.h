#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QMap>
#include <QSet>
#include <QString>

#include <initializer_list>
#include <utility>

// Reads a JSON object key by key, with the range each value must keep, and remembers the first thing
// that is wrong: a value of another type or out of range, a missing key, and, through finish(), a
// key that nobody asked for. A key that is absent leaves its variable as it is, and so does an error,
// so that the code that reads stays a plain list of keys.
class JsonReader
{
public:
    // `where` names the object in the error, as in: instrument 3 (00:1A:2B:00:00:03). `error` outlives
    // the reader and is empty as long as all is well.
    JsonReader(const QJsonObject &object, const QString &where, QString &error);

    // The object of this key, empty when there is none; finish() it as well.
    JsonReader part(const char *key);

    bool has(const char *key) const { return m_object.contains(QLatin1String(key)); }
    bool hasObject(const char *key) const { return m_object.value(QLatin1String(key)).isObject(); }

    void text(const char *key, QString &value);
    void text(const char *key, QByteArray &value); // in Latin-1
    void requiredText(const char *key, QString &value);
    void texts(const char *key, QMap<QString, QString> &values); // an object's, by its keys
    void number(const char *key, int &value, int least, int most);
    void count(const char *key, int &value) { number(key, value, 0, 0x7FFFFFFF); }
    void milliseconds(const char *key, int &value) { number(key, value, 0, 600000); }
    void flag(const char *key, bool &value);
    void address(const char *key, quint32 &value);  // dotted text; a host-order number
    void array(const char *key, QJsonArray &value); // must be there
    void object(const char *key, QJsonObject &value);
    void ignore(const char *key) { m_asked.insert(QLatin1String(key)); }

    // One of these names.
    template <typename Value>
    void choice(const char *key, Value &value, std::initializer_list<std::pair<const char *, Value>> names);

    // Says that the value of `key` is not `expected`.
    void fail(const char *key, const QString &expected);

    void finish();

private:
    // False, which is an error unless the key is absent, when the value is of another type.
    bool take(const char *key, QJsonValue::Type type, const char *expected, QJsonValue &value);

    QJsonObject m_object;
    QString m_where;
    QString &m_error;
    QSet<QString> m_asked;
};

template <typename Value>
void JsonReader::choice(const char *key, Value &value,
                        std::initializer_list<std::pair<const char *, Value>> names)
{
    QString given = QLatin1String(names.begin()->first);
    text(key, given);
    QString expected = QStringLiteral("one of");
    for (const auto &[name, meant] : names) {
        if (given == QLatin1String(name)) {
            value = meant;
            return;
        }
        expected += QLatin1Char(' ') + QLatin1String(name);
    }
    fail(key, expected);
}
