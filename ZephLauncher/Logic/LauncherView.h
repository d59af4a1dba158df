#pragma once

#include "Logic/LauncherDisplay.h"

#include <string>

namespace zeph {

enum class QuerySelection { caretAtEnd, all };

// The panel as the shell draws it: a frameless window with the search field, the list, the
// detail pane and the footer. The controller drives it; the shell reports the user's typing and
// keys back to the controller. The modifiers the shell reports for the panel's own keys are the
// program's bits in the Linux habit: Ctrl is `command`, Alt `option`, Super `control`, Shift
// `shift`.
class LauncherView {
public:
    virtual ~LauncherView() = default;

    // Placed on the screen under the pointer, made key, the field focused.
    virtual void showPanel() = 0;
    virtual void hidePanel() = 0;
    virtual bool isPanelVisible() const = 0;
    virtual bool isPanelKey() const = 0;
    // Sets the field's text without reporting it back as typing.
    virtual void setQuery(const std::string& text, QuerySelection selection) = 0;
    // Redraws from the display; the shell may compare with what it shows.
    virtual void update(const LauncherDisplay& display) = 0;
};

} // namespace zeph
