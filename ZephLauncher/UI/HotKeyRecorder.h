#pragma once

#include "Logic/HotKeyCenter.h"
#include "Storage/KeyCombo.h"

#include <functional>
#include <optional>

#include <QPushButton>

namespace zeph {

// A button that shows a shortcut and records a new one: Space or a click starts, the next key with
// its modifiers is the shortcut, Escape cancels. A key without Ctrl, Alt or Super is refused unless
// it is a function key, since a bare key would be taken from every program. While it records, the
// global hot keys step aside, so that their keys reach it.
class HotKeyRecorder final : public QPushButton {
    Q_OBJECT

public:
    explicit HotKeyRecorder(HotKeyCenter& hotkeys, QWidget* parent = nullptr);

    // Nothing shows "Record Shortcut".
    void setCombo(std::optional<KeyCombo> combo);
    const std::optional<KeyCombo>& combo() const { return m_combo; }
    bool isRecording() const { return m_isRecording; }

    // The combo a key event records; nothing for a modifier alone or a key without a name.
    static std::optional<KeyCombo> comboOf(int qtKey, Qt::KeyboardModifiers modifiers);

    std::function<void(const KeyCombo&)> onRecorded;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void setRecording(bool isRecording);
    void showCombo();

    HotKeyCenter& m_hotkeys;
    std::optional<KeyCombo> m_combo {};
    bool m_isRecording = false;
};

} // namespace zeph
