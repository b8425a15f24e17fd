// SPDX-FileCopyrightText: 2026 The Pakmart developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "host/picturereader.h"

#include "base/descriptor.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QXmlStreamReader>
#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace Pakmart
{

namespace
{

// Elements that open other files, or whose nesting multiplies the work.
bool IsRiskyElement(const QString& name)
{
    static const char* const risky[] = { "image",   "use",    "script",  "foreignObject",
                                         "pattern", "filter", "animate", "animateTransform" };
    return std::any_of(std::begin(risky), std::end(risky),
                       [&name](const char* one) { return name == QLatin1String(one); });
}

// Short dashes on a long line take as long as somebody likes.
bool HasDashes(const QXmlStreamAttributes& attributes)
{
    return std::any_of(attributes.begin(), attributes.end(), [](const QXmlStreamAttribute& one) {
        return one.name() == QLatin1String("stroke-dasharray")
            || one.value().toString().contains(QLatin1String("dasharray"));
    });
}

// Looked at as a parser sees it, whatever its encoding.
bool IsHarmlessSvg(const QByteArray& bytes)
{
    constexpr int mostElements = 20000, mostDepth = 64;
    int elements = 0, depth = 0;
    QXmlStreamReader xml(bytes);
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        if (token == QXmlStreamReader::DTD && !xml.entityDeclarations().isEmpty())
            return false;
        if (token == QXmlStreamReader::EndElement)
            --depth;
        if (token == QXmlStreamReader::Characters
            && xml.text().toString().contains(QLatin1String("dasharray")))
            return false; // a style sheet
        if (token != QXmlStreamReader::StartElement)
            continue;
        const QString name = xml.name().toString();
        if (elements == 0 && name != QLatin1String("svg"))
            return false;
        if (++elements > mostElements || ++depth > mostDepth || IsRiskyElement(name)
            || HasDashes(xml.attributes()))
            return false;
    }
    return !xml.hasError() && elements > 0;
}

// A decoder shows the first half of a JPEG file as if it were whole.
bool IsWholeJpeg(const QByteArray& bytes)
{
    constexpr int mostBehind = 1024; // bytes that some cameras append
    return bytes.right(mostBehind).contains("\xff\xd9");
}

// By the contents; a name or a type of the server's says nothing.
QByteArray FormatOf(const QByteArray& bytes)
{
    if (bytes.startsWith("\x89PNG\r\n\x1a\n"))
        return "png";
    if (bytes.startsWith("\xff\xd8\xff"))
        return IsWholeJpeg(bytes) ? "jpeg" : "";
    if (bytes.startsWith("RIFF") && bytes.mid(8, 4) == "WEBP")
        return "webp";
    return IsHarmlessSvg(bytes) ? "svg" : "";
}

} // namespace

QImage DecodePicture(const QByteArray& bytes, const QSize& size, qint64 mostPixels)
{
    const QByteArray format = FormatOf(bytes);
    if (format.isEmpty())
        return QImage();
    QBuffer buffer;
    buffer.setData(bytes);
    QImageReader reader(&buffer, format);
    reader.setAutoDetectImageFormat(false);
    QSize natural = reader.size();
    if (natural.isEmpty() || qint64(natural.width()) * natural.height() > mostPixels)
        return QImage();
    const bool isSmaller = natural.width() <= size.width() && natural.height() <= size.height();
    if (!size.isEmpty() && (format == "svg" || !isSmaller)) {
        natural = natural.scaled(size, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
        if (qint64(natural.width()) * natural.height() > mostPixels)
            return QImage();
        reader.setScaledSize(natural);
    }
    const QImage image = reader.read();
    return image.isNull() ? image : image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QByteArray ReadPictureFile(const QString& path, qint64 most, bool followsLinks)
{
    const int links = followsLinks ? 0 : O_NOFOLLOW;
    const Agent::Descriptor file(
        open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | links));
    struct stat info = {};
    if (!file || fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > most)
        return QByteArray();
    QFile reader;
    if (!reader.open(file.Get(), QIODevice::ReadOnly))
        return QByteArray();
    const QByteArray bytes = reader.read(most + 1);
    return bytes.size() <= most ? bytes : QByteArray();
}

} // namespace Pakmart
