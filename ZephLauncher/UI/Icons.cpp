#include "UI/Icons.h"

#include <array>
#include <string_view>

#include <QFileInfo>
#include <QMimeDatabase>
#include <QPainter>
#include <QPixmap>

namespace zeph {

namespace {

constexpr auto symbolIcons = std::to_array<std::pair<std::string_view, const char*>>({
    { "magnifyingglass", "system-search" },
    { "doc.text.magnifyingglass", "system-search" },
    { "folder", "folder" },
    { "doc", "text-x-generic" },
    { "doc.text", "text-x-generic" },
    { "terminal", "utilities-terminal" },
    { "lock", "system-lock-screen" },
    { "lock.fill", "system-lock-screen" },
    { "trash", "user-trash" },
    { "trash.fill", "user-trash-full" },
    { "moon.zzz.fill", "system-suspend" },
    { "sleep", "system-suspend" },
    { "sparkles.tv", "preferences-desktop-screensaver" },
    { "rectangle.portrait.and.arrow.right", "system-log-out" },
    { "arrow.clockwise", "system-reboot" },
    { "bolt.fill", "system-shutdown" },
    { "eject.fill", "media-eject" },
    { "circle.lefthalf.filled", "preferences-desktop-theme" },
    { "equal.square", "accessories-calculator" },
    { "plus.forwardslash.minus", "accessories-calculator" },
    { "x.squareroot", "accessories-calculator" },
    { "text.quote", "insert-text" },
    { "text.badge.plus", "insert-text" },
    { "text.alignleft", "format-justify-left" },
    { "doc.on.clipboard", "edit-paste" },
    { "doc.on.doc", "edit-copy" },
    { "tray", "mail-inbox" },
    { "arrow.triangle.branch", "system-run" },
    { "arrow.triangle.2.circlepath", "view-refresh" },
    { "arrow.up.right.square", "document-open" },
    { "info.circle", "dialog-information" },
    { "list.bullet", "view-list-text" },
    { "pin.slash", "window-unpin" },
    { "hourglass", "chronometer" },
    { "globe", "applications-internet" },
    { "textformat.size.larger", "zoom-in" },
    { "line.3.horizontal.decrease.circle", "view-filter" },
    { "gearshape", "preferences-system" },
});

} // namespace

QString Icons::themeName(const std::string& symbol)
{
    for (auto [name, icon] : symbolIcons) {
        if (name == symbol)
            return QString::fromLatin1(icon);
    }
    return QStringLiteral("application-x-executable");
}

QIcon Icons::named(const std::string& name)
{
    auto key = QString::fromStdString(name);
    if (auto found = m_cache.find(key); found != m_cache.end())
        return *found;
    QIcon icon;
    if (key.startsWith(u'/'))
        icon = QIcon(key);
    else if (name.find('.') != std::string::npos || QIcon::fromTheme(key).isNull())
        // Dotted names are the core's symbols ("doc.on.clipboard"); desktop entries name theme
        // icons ("firefox", "org.gnome.Nautilus"), which the theme either has or not.
        icon = QIcon::fromTheme(key, QIcon::fromTheme(themeName(name)));
    else
        icon = QIcon::fromTheme(key);
    m_cache.insert(key, icon);
    return icon;
}

QIcon Icons::forItem(const SearchItem& item)
{
    auto icon = found(item);
    return icon.isNull() ? letterTile(item.title) : icon;
}

QIcon Icons::letterTile(const std::string& title)
{
    auto text = QString::fromStdString(title).trimmed();
    auto letter = text.isEmpty() ? QStringLiteral("?") : text.left(1).toUpper();
    auto key = QStringLiteral("tile:") + letter;
    if (auto cached = m_cache.find(key); cached != m_cache.end())
        return *cached;
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    // A colour of its own for each letter, so that neighbouring rows tell apart.
    auto hue = static_cast<int>(letter.at(0).unicode() * 47 % 360);
    painter.setBrush(QColor::fromHsv(hue, 120, 200));
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(2, 2, 60, 60), 14, 14);
    auto font = painter.font();
    font.setPixelSize(34);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(QRect(0, 0, 64, 64), Qt::AlignCenter, letter);
    painter.end();
    QIcon icon(pixmap);
    m_cache.insert(key, icon);
    return icon;
}

QIcon Icons::found(const SearchItem& item)
{
    if (item.symbolName)
        return named(*item.symbolName);
    if (item.kind == ItemKind::folder)
        return named("folder");
    if (item.path && item.kind == ItemKind::file) {
        static const QMimeDatabase database;
        auto type = database.mimeTypeForFile(
            QString::fromStdString(*item.path), QMimeDatabase::MatchExtension);
        auto name = type.iconName();
        auto key = QStringLiteral("mime:") + name;
        if (auto found = m_cache.find(key); found != m_cache.end())
            return *found;
        auto icon = QIcon::fromTheme(name, QIcon::fromTheme(type.genericIconName()));
        m_cache.insert(key, icon);
        return icon;
    }
    return named("doc");
}

} // namespace zeph
