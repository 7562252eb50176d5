// dravik_svgrender OUT.png IN.svg WIDTHxHEIGHT
// dravik_svgrender OUT.ico IN.svg SIZE [SIZE ...]
//
// Renders an SVG into a PNG of the given size, or into a Windows icon holding
// one PNG-compressed image per size. The output is written atomically: a
// failed run leaves no partial file behind for the build to pick up.

#include <QBuffer>
#include <QByteArray>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSaveFile>
#include <QSize>
#include <QStringList>
#include <QSvgRenderer>
#include <QtEndian>

#include <cstdio>

namespace {

int Fail(const QString& message)
{
    std::fprintf(stderr, "dravik_svgrender: %s\n", qPrintable(message));
    return 1;
}

bool ParseSize(const QString& text, QSize& size)
{
    const QStringList parts = text.split(QLatin1Char('x'));
    if (parts.size() > 2)
        return false;
    bool okW = false;
    bool okH = true;
    const int w = parts[0].toInt(&okW);
    const int h = parts.size() == 2 ? parts[1].toInt(&okH) : w;
    if (!okW || !okH || w < 1 || h < 1 || w > 4096 || h > 4096)
        return false;
    size = QSize(w, h);
    return true;
}

QImage Render(QSvgRenderer& renderer, const QSize& size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    renderer.render(&painter, QRectF(QPointF(0, 0), QSizeF(size)));
    painter.end();
    return image;
}

QByteArray EncodePng(const QImage& image)
{
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG"))
        return {};
    return png;
}

// ICO container: 6-byte header, one 16-byte directory entry per image, then
// the image data. PNG payloads are valid for every size since Windows Vista.
QByteArray BuildIco(const QList<QByteArray>& pngs, const QList<QSize>& sizes)
{
    QByteArray out;
    auto put16 = [&out](quint16 v) {
        const quint16 le = qToLittleEndian(v);
        out.append(reinterpret_cast<const char*>(&le), 2);
    };
    auto put32 = [&out](quint32 v) {
        const quint32 le = qToLittleEndian(v);
        out.append(reinterpret_cast<const char*>(&le), 4);
    };
    put16(0);
    put16(1);
    put16(quint16(pngs.size()));
    quint32 offset = 6 + 16 * quint32(pngs.size());
    for (int i = 0; i < pngs.size(); ++i) {
        // A dimension of 256 is written as 0 by the format's convention.
        out.append(char(sizes[i].width() >= 256 ? 0 : sizes[i].width()));
        out.append(char(sizes[i].height() >= 256 ? 0 : sizes[i].height()));
        out.append(char(0)); // no palette
        out.append(char(0)); // reserved
        put16(1);            // colour planes
        put16(32);           // bits per pixel
        put32(quint32(pngs[i].size()));
        put32(offset);
        offset += quint32(pngs[i].size());
    }
    for (const QByteArray& png : pngs)
        out.append(png);
    return out;
}

} // namespace

int main(int argc, char** argv)
{
    // The tool never shows a window; text in the artwork still needs fonts.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    const QStringList args = app.arguments().mid(1);
    if (args.size() < 3)
        return Fail(QStringLiteral("usage: dravik_svgrender OUT.png|OUT.ico IN.svg SIZE [SIZE ...]"));

    const QString outPath = args[0];
    const QString inPath = args[1];
    const bool ico = outPath.endsWith(QLatin1String(".ico"), Qt::CaseInsensitive);

    QList<QSize> sizes;
    for (const QString& s : args.mid(2)) {
        QSize size;
        if (!ParseSize(s, size))
            return Fail(QStringLiteral("bad size '%1'").arg(s));
        if (ico && (size.width() != size.height() || size.width() > 256))
            return Fail(QStringLiteral("icon sizes must be square and at most 256: '%1'").arg(s));
        sizes.append(size);
    }
    if (!ico && sizes.size() != 1)
        return Fail(QStringLiteral("a PNG takes exactly one size"));

    QSvgRenderer renderer(inPath);
    if (!renderer.isValid())
        return Fail(QStringLiteral("cannot read SVG '%1'").arg(inPath));

    QByteArray data;
    if (ico) {
        QList<QByteArray> pngs;
        for (const QSize& size : sizes) {
            pngs.append(EncodePng(Render(renderer, size)));
            if (pngs.last().isEmpty())
                return Fail(QStringLiteral("PNG encoding failed"));
        }
        data = BuildIco(pngs, sizes);
    } else {
        data = EncodePng(Render(renderer, sizes.first()));
        if (data.isEmpty())
            return Fail(QStringLiteral("PNG encoding failed"));
    }

    QSaveFile file(outPath);
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit())
        return Fail(QStringLiteral("cannot write '%1'").arg(QFileInfo(outPath).absoluteFilePath()));
    return 0;
}
