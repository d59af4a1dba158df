#include "RunningApplication.h"

#include <cstdlib>
#include <dlfcn.h>
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
    GDBusConnection* connection = nullptr;

    static Bus& shared()
    {
        static Bus bus = [] {
            Bus loaded;
            auto address = sessionAddress();
            if (address.empty())
                return loaded;
            auto* gio = dlopen("libgio-2.0.so.0", RTLD_NOW | RTLD_LOCAL);
            if (!gio)
                return loaded;
            loaded.connect = reinterpret_cast<decltype(connect)>(
                dlsym(gio, "g_dbus_connection_new_for_address_sync"));
            loaded.call
                = reinterpret_cast<decltype(call)>(dlsym(gio, "g_dbus_connection_call_sync"));
            loaded.unref = reinterpret_cast<decltype(unref)>(dlsym(gio, "g_object_unref"));
            if (!loaded.connect || !loaded.call || !loaded.unref)
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

    // The reply, or nothing when no application answers.
    GVariant* invoke(const char* method, GVariant* arguments, const char* replyType) const
    {
        if (!connection) {
            g_variant_unref(g_variant_ref_sink(arguments));
            return nullptr;
        }
        return call(connection, service, objectPath, service, method, arguments,
            G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START, timeoutMilliseconds,
            nullptr, nullptr);
    }
};

} // namespace

std::optional<Document> get(const std::filesystem::path& dataFolder, std::string_view fileName)
{
    auto* reply = Bus::shared().invoke("GetDocument",
        g_variant_new("(ss)", dataFolder.c_str(), std::string(fileName).c_str()), "(bst)");
    if (!reply)
        return std::nullopt;
    gboolean found = FALSE;
    const gchar* text = nullptr;
    guint64 version = 0;
    g_variant_get(reply, "(b&st)", &found, &text, &version);
    std::optional<Document> document;
    if (found)
        document = Document { .text = text, .version = version };
    g_variant_unref(reply);
    return document;
}

std::optional<std::string> set(const std::filesystem::path& dataFolder, std::string_view fileName,
    const std::string& text, std::uint64_t version)
{
    auto* reply = Bus::shared().invoke("SetDocument",
        g_variant_new("(ssst)", dataFolder.c_str(), std::string(fileName).c_str(), text.c_str(),
            static_cast<guint64>(version)),
        "(s)");
    if (!reply)
        return std::nullopt;
    const gchar* refusal = nullptr;
    g_variant_get(reply, "(&s)", &refusal);
    std::string answer = refusal;
    g_variant_unref(reply);
    return answer;
}

} // namespace zeph::RunningApplication
