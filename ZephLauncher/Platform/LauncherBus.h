#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <QObject>

namespace zeph {

// The running application on the session bus, as "org.zeph.Launcher" at "/org/zeph/Launcher":
// a second start and `zeph-launcher --toggle` reach the first instance through it.
class LauncherBus final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.zeph.Launcher")

public:
    static constexpr const char* service = "org.zeph.Launcher";
    static constexpr const char* path = "/org/zeph/Launcher";

    // Takes the name; false when another instance holds it, or there is no session bus.
    bool registerService();
    // Asks the instance that holds the name; false when none answers.
    static bool call(const char* method);

    std::function<void()> onToggle;
    std::function<void()> onShow;
    std::function<void()> onShowSettings;
    // The command line's changes to the documents the application keeps: see DocumentExchange.
    std::function<std::optional<std::pair<std::string, std::uint64_t>>(
        const std::string& folder, const std::string& name)>
        onGetDocument;
    std::function<std::optional<std::string>(const std::string& folder, const std::string& name,
        const std::string& text, std::uint64_t version)>
        onSetDocument;

public Q_SLOTS:
    void Toggle();
    void Show();
    void ShowSettings();
    // False when the application keeps no such document for that data folder.
    bool GetDocument(
        const QString& folder, const QString& name, QString& text, qulonglong& version);
    // Empty text when taken; else why not.
    QString SetDocument(
        const QString& folder, const QString& name, const QString& text, qulonglong version);
};

} // namespace zeph
