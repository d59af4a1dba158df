#include "Platform/QtClipboard.h"

#include "Platform/Trace.h"

#include <QBuffer>
#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

namespace zeph {

QtClipboard::QtClipboard()
{
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, &m_context, [this] {
        ++m_changeCount;
        TraceTimer timer("a clipboard change");
        if (m_onChange)
            m_onChange();
    });
}

std::vector<std::string> QtClipboard::types() const
{
    std::vector<std::string> types;
    if (const auto* data = QGuiApplication::clipboard()->mimeData()) {
        for (const auto& format : data->formats())
            types.push_back(format.toStdString());
    }
    return types;
}

std::optional<std::string> QtClipboard::text() const
{
    const auto* data = QGuiApplication::clipboard()->mimeData();
    if (!data || !data->hasText())
        return std::nullopt;
    return data->text().toStdString();
}

std::optional<std::string> QtClipboard::png() const
{
    const auto* data = QGuiApplication::clipboard()->mimeData();
    if (!data)
        return std::nullopt;
    if (data->hasFormat(QStringLiteral("image/png")))
        return data->data(QStringLiteral("image/png")).toStdString();
    if (!data->hasImage())
        return std::nullopt;
    auto image = qvariant_cast<QImage>(data->imageData());
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (image.isNull() || !image.save(&buffer, "PNG"))
        return std::nullopt;
    return bytes.toStdString();
}

ClipboardContents QtClipboard::contents() const
{
    ClipboardContents contents;
    if (const auto* data = QGuiApplication::clipboard()->mimeData()) {
        for (const auto& format : data->formats())
            contents.entries.emplace_back(format.toStdString(), data->data(format).toStdString());
    }
    return contents;
}

void QtClipboard::setContents(const ClipboardContents& contents)
{
    auto* data = new QMimeData;
    for (const auto& [type, bytes] : contents.entries) {
        auto format = QString::fromStdString(type);
        if (format == QLatin1String(ClipboardContents::textType.data()))
            data->setText(QString::fromStdString(bytes)); // Also as UTF8_STRING and text/plain.
        data->setData(format, QByteArray::fromStdString(bytes));
    }
    QGuiApplication::clipboard()->setMimeData(data);
}

} // namespace zeph
