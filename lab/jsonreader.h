#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QSet>
#include <QString>

#include <optional>

// Reads a JSON object key by key, with the range each value must keep, and remembers the first thing
// that is wrong: a value of another type or out of range, a missing key, and, through finish(), a
// key that nobody asked for. After an error it goes on answering with defaults, so that the code that
// reads stays a plain list of keys.
class JsonReader
{
public:
    // `where` names the object in the error, as in: instrument 3 (00:1A:2B:00:00:03).
    JsonReader(QJsonObject object, QString where);

    bool has(const QString &key) const { return m_object.contains(key); }
    bool hasObject(const QString &key) const { return m_object.value(key).isObject(); }

    QString text(const QString &key, const QString &otherwise);
    QString requiredText(const QString &key);
    int number(const QString &key, int otherwise, int least, int most);
    bool flag(const QString &key, bool otherwise);
    quint32 address(const QString &key, quint32 otherwise); // dotted text; a host-order number
    QJsonObject object(const QString &key);                 // empty when there is none
    QJsonArray array(const QString &key);                   // must be there
    void ignore(const QString &key) { m_asked.insert(key); }

    // Says that the value of `key` is not `expected`.
    void fail(const QString &key, const QString &expected);

    // Takes over what a reader of a part of this object found.
    void adopt(const JsonReader &part);

    void finish();

    const QString &where() const { return m_where; }
    const QString &error() const { return m_error; } // empty when all is well

private:
    // Nothing when the key is absent.
    std::optional<QJsonValue> take(const QString &key);

    QJsonObject m_object;
    QString m_where;
    QString m_error;
    QSet<QString> m_asked;
};
