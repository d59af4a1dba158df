#pragma once

#include "Search/SearchItem.h"

#include <string>

#include <QHash>
#include <QIcon>

namespace zeph {

// The icon of a row: the symbol names of the core mapped to the freedesktop icon theme, a desktop
// entry's own icon, or a file's type icon. Made once per name, as rows repeat on every keystroke.
class Icons {
public:
    // Never null: where the icon theme has nothing, a tile with the title's first letter.
    QIcon forItem(const SearchItem& item);
    // A symbol name, a theme icon name or an absolute path.
    QIcon named(const std::string& name);
    // The theme icon that stands for a symbol name; a generic one for names the table lacks.
    static QString themeName(const std::string& symbol);

private:
    QIcon found(const SearchItem& item);
    QIcon letterTile(const std::string& title);

    QHash<QString, QIcon> m_cache;
};

} // namespace zeph
