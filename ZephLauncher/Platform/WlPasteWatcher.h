#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <QObject>
#include <QString>

class QProcess;

namespace zeph {

// One change of the Wayland clipboard as wl-paste reports it: the offer's CLIPBOARD_STATE
// ("data", "sensitive", …), its MIME types, and its text or its PNG image.
struct ClipboardOffer {
    std::string state {};
    std::vector<std::string> types {};
    std::optional<std::string> text {};
    std::optional<std::string> png {};
    bool operator==(const ClipboardOffer&) const = default;
};

// Hears every change of the clipboard on Wayland, where a program sees it only while it has the
// focus: a `wl-paste --watch` child says that something changed and in what state, and short
// `wl-paste` runs then read the types and the text or image, without blocking the main thread.
// A sensitive offer is reported without being read. The child ends with this program.
class WlPasteWatcher final : public QObject {
public:
    explicit WlPasteWatcher(
        std::function<void(ClipboardOffer)> onOffer, QString program = QStringLiteral("wl-paste"));
    ~WlPasteWatcher() override;

    // False when wl-paste cannot be started (not installed, no Wayland display).
    bool start();
    bool isRunning() const;

    // The MIME type to read, of those offered: text first, then a PNG image; nothing when neither.
    static std::optional<std::string> typeToRead(const std::vector<std::string>& types);

private:
    void changed(std::string state);
    void read(std::uint64_t generation, ClipboardOffer offer);
    void run(QStringList arguments, std::function<void(QByteArray)> done);

    std::function<void(ClipboardOffer)> m_onOffer;
    QString m_program;
    std::unique_ptr<QProcess> m_watch;
    QByteArray m_pending;
    // Raised by each change, so that the reading of an older offer is dropped.
    std::uint64_t m_generation = 0;
};

} // namespace zeph
