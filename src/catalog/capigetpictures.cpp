// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalog/capigetpictures.h"

#include "support/ctracer.h"
#include "util/urlcodec.h"

#include <QDomElement>
#include <algorithm>

namespace
{

constexpr int mostPictures = 100000;

bool IsPictureName(const QString& name)
{
    constexpr int digits = 64;
    const auto isDigit = [](QChar c) {
        return (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
            || (c >= QLatin1Char('a') && c <= QLatin1Char('f'));
    };
    return name.size() == digits + 4 && name.endsWith(QLatin1String(".png"))
        && std::all_of(name.begin(), name.begin() + digits, isDigit);
}

// The folder is relative to the function's own address, and must not be less safe.
QUrl FolderOf(const QDomElement& pictures, const QUrl& function)
{
    const QString text = url_decode(pictures.attribute(QStringLiteral("folder")));
    const QLatin1Char slash('/');
    const QUrl folder = function.resolved(QUrl(text.endsWith(slash) ? text : text + slash));
    const bool isSafe = folder.scheme() == QLatin1String("https")
        || (folder.scheme() == QLatin1String("http") && function.scheme() == folder.scheme());
    const bool isPlain = !folder.hasQuery() && !folder.hasFragment() && folder.userInfo().isEmpty();
    return isSafe && isPlain && !folder.host().isEmpty() ? folder : QUrl();
}

} // namespace

CAPIGetPictures::CAPIGetPictures(bool bSilent) : CAPI(bSilent, false, false)
{
    CTracer tracer("CAPIGetPictures::CAPIGetPictures");
}

void CAPIGetPictures::onSuccessfulTransfer(QDomElement* pElement)
{
    CTracer tracer("CAPIGetPictures::onSuccessfulTransfer");
    const QDomElement pictures = pElement->firstChildElement(QStringLiteral("pictures"));
    const QUrl folder = FolderOf(pictures, QUrl(GetURL(GetAPIName())));
    if (pictures.isNull() || folder.isEmpty()) {
        SetFailure(AgentError::ReplyNotUnderstood);
        onErroneousTransfer(AgentError::Sentence(AgentError::ReplyNotUnderstood));
        return;
    }
    QMap<int, QString> names;
    const QString tag = QStringLiteral("picture");
    for (QDomElement picture = pictures.firstChildElement(tag);
         !picture.isNull() && names.size() < mostPictures;
         picture = picture.nextSiblingElement(tag)) {
        const int serial = picture.attribute(QStringLiteral("serialnumber")).toInt();
        const QString name = url_decode(picture.text());
        if (serial > 0 && IsPictureName(name))
            names.insert(serial, name);
    }
    emit signalPictures(folder, names);
}
