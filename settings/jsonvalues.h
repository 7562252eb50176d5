#pragma once

// Typed reads of stored JSON values. No conversion between JSON types happens: a number
// written as a string, or 1 for a boolean, is unusable and gives the fallback.

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QStringList>

namespace JsonValues {

QString StringOr(const QJsonObject &object, const QString &key, const QString &fallback);
// A JSON number holding a whole value that fits in 32 signed bits, else fallback.
qint32 Int32Or(const QJsonObject &object, const QString &key, qint32 fallback);
bool BoolOr(const QJsonObject &object, const QString &key, bool fallback);

// The first maximum elements of the array under key (none when the key is missing or not an
// array), each as its string value; an element that is not a string gives an empty string.
QStringList StringListPrefix(const QJsonObject &object, const QString &key, int maximum);

} // namespace JsonValues
