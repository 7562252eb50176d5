#include "settings/jsonvalues.h"

#include <cmath>
#include <limits>

namespace JsonValues {

QString StringOr(const QJsonObject &object, const QString &key, const QString &fallback)
{
    const QJsonValue value = object.value(key);
    return value.isString() ? value.toString() : fallback;
}

qint32 Int32Or(const QJsonObject &object, const QString &key, qint32 fallback)
{
    const QJsonValue value = object.value(key);
    if (!value.isDouble())
        return fallback;
    const double number = value.toDouble();
    if (!std::isfinite(number) || std::trunc(number) != number)
        return fallback;
    if (number < double(std::numeric_limits<qint32>::min())
        || number > double(std::numeric_limits<qint32>::max()))
        return fallback;
    return qint32(number);
}

bool BoolOr(const QJsonObject &object, const QString &key, bool fallback)
{
    const QJsonValue value = object.value(key);
    return value.isBool() ? value.toBool() : fallback;
}

QStringList StringListPrefix(const QJsonObject &object, const QString &key, int maximum)
{
    QStringList list;
    const QJsonValue value = object.value(key);
    if (!value.isArray())
        return list;
    const QJsonArray array = value.toArray();
    const qsizetype count = qMin<qsizetype>(array.size(), qMax(0, maximum));
    list.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        list.append(array.at(i).toString()); // a non-string element reads as ""
    return list;
}

} // namespace JsonValues
