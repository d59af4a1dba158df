#include "Platform/QtClipboard.h"

#include "Platform/Trace.h"
#include "Platform/X11Connection.h"

#include <cstdio>

#include <QBuffer>
#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <QMimeData>

namespace zeph {

QtClipboard::QtClipboard(Watching watching)
    : m_watching(watching)
{
    if (watching == Watching::wlPaste) {
        m_watcher = std::make_unique<WlPasteWatcher>([this](ClipboardOffer offer) {
            m_offer = std::move(offer);
            changed();
        });
        if (!m_watcher->start()) {
            m_watcher.reset();
            std::fprintf(stderr,
                "Zeph Launcher: copies are kept only while the launcher has the focus; install "
                "wl-clipboard to keep every copy.\n");
        }
    }
    if (watching == Watching::qt && qtX11Connection())
        m_reader = std::make_unique<X11ClipboardReader>();
    QObject::connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, &m_context, [this] {
        // wl-paste reports every change, those Qt hears included.
        if (!m_watcher)
            changed();
    });
}

void QtClipboard::changed()
{
    ++m_changeCount;
    TraceTimer timer("a clipboard change");
    if (m_onChange)
        m_onChange();
}

const ClipboardOffer* QtClipboard::offer() const
{
    if (m_reader && m_offerCount != m_changeCount) {
        m_offerCount = m_changeCount;
        // What this program offers, Qt answers from memory.
        m_offer = QGuiApplication::clipboard()->ownsClipboard() ? std::nullopt : m_reader->read();
    }
    return m_offer ? &*m_offer : nullptr;
}

std::string QtClipboard::state() const
{
    const auto* read = offer();
    return read ? read->state : std::string {};
}

std::vector<std::string> QtClipboard::types() const
{
    if (const auto* read = offer())
        return read->types;
    std::vector<std::string> types;
    if (const auto* data = QGuiApplication::clipboard()->mimeData()) {
        for (const auto& format : data->formats())
            types.push_back(format.toStdString());
    }
    return types;
}

std::optional<std::string> QtClipboard::text() const
{
    if (const auto* read = offer())
        return read->text;
    const auto* data = QGuiApplication::clipboard()->mimeData();
    if (!data || !data->hasText())
        return std::nullopt;
    return data->text().toStdString();
}

std::optional<std::string> QtClipboard::png() const
{
    if (const auto* read = offer())
        return read->png;
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
    TraceTimer timer("reading the whole clipboard");
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
