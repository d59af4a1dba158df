#include "RunningApplication.h"

#include "Support/GLib.h"
#include "Support/SharedLibrary.h"

#include <cstdlib>
#include <gio/gio.h>

namespace zeph::RunningApplication {

namespace {

constexpr const char* service = "org.zeph.Launcher";
constexpr const char* objectPath = "/org/zeph/Launcher";
constexpr int timeoutMilliseconds = 3000;

// GIO's D-Bus client, loaded only by the commands that change documents: linked in, its start-up
// cost would fall on every run of the command line.
struct Bus {
    decltype(&g_dbus_connection_new_for_address_sync) connect = nullptr;
    decltype(&g_dbus_connection_call_sync) call = nullptr;
    decltype(&g_object_unref) unref = nullptr;
    const GLib* glib = nullptr;
    GDBusConnection* connection = nullptr;

    static Bus& shared()
    {
        static Bus bus = [] {
            Bus loaded;
            auto address = sessionAddress();
            if (address.empty())
                return loaded;
            SharedLibrary gio("libgio-2.0.so.0");
            loaded.glib = GLib::shared();
            if (!loaded.glib
                || !gio.resolve("g_dbus_connection_new_for_address_sync", loaded.connect)
                || !gio.resolve("g_dbus_connection_call_sync", loaded.call)
                || !gio.resolve("g_object_unref", loaded.unref))
                return Bus {};
            auto flags
                = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT
                    | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
            loaded.connection = loaded.connect(address.c_str(), flags, nullptr, nullptr, nullptr);
            return loaded;
        }();
        return bus;
    }

    // The session bus of the environment, never one started for the occasion (GIO would launch
    // one for an X11 display without a bus).
    static std::string sessionAddress()
    {
        if (const auto* address = std::getenv("DBUS_SESSION_BUS_ADDRESS"); address && *address)
            return address;
        if (const auto* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
            std::filesystem::path socket = std::filesystem::path(runtime) / "bus";
            std::error_code error;
            if (std::filesystem::is_socket(socket, error))
                return "unix:path=" + socket.string();
        }
        return {};
    }

    // The reply, or nothing when no application answers; `arguments` makes the call's arguments.
    template <typename Arguments>
    GVariant* invoke(const char* method, const Arguments& arguments, const char* replyType) const
    {
        if (!connection)
            return nullptr;
        // A type string is its type (G_VARIANT_TYPE, without the check that GLib would link in).
        return call(connection, service, objectPath, service, method, arguments(*glib),
            reinterpret_cast<const GVariantType*>(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, timeoutMilliseconds,
            nullptr, nullptr);
    }
};

} // namespace

std::optional<Document> get(const std::filesystem::path& dataFolder, std::string_view fileName)
{
    auto& bus = Bus::shared();
    auto* reply = bus.invoke(
        "GetDocument",
        [&](const GLib& glib) {
            return glib.variantNew("(ss)", dataFolder.c_str(), std::string(fileName).c_str());
        },
        "(bst)");
    if (!reply)
        return std::nullopt;
    gboolean found = FALSE;
    const gchar* text = nullptr;
    guint64 version = 0;
    bus.glib->variantGet(reply, "(b&st)", &found, &text, &version);
    std::optional<Document> document;
    if (found)
        document = Document { .text = text, .version = version };
    bus.glib->variantUnref(reply);
    return document;
}

std::optional<std::string> set(const std::filesystem::path& dataFolder, std::string_view fileName,
    const std::string& text, std::uint64_t version)
{
    auto& bus = Bus::shared();
    auto* reply = bus.invoke(
        "SetDocument",
        [&](const GLib& glib) {
            return glib.variantNew("(ssst)", dataFolder.c_str(), std::string(fileName).c_str(),
                text.c_str(), static_cast<guint64>(version));
        },
        "(s)");
    if (!reply)
        return std::nullopt;
    const gchar* refusal = nullptr;
    bus.glib->variantGet(reply, "(&s)", &refusal);
    std::string answer = refusal;
    bus.glib->variantUnref(reply);
    return answer;
}

} // namespace zeph::RunningApplication
