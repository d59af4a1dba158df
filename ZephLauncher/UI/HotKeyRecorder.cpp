#include "UI/HotKeyRecorder.h"

#include "Platform/KeyTable.h"

#include <QKeyEvent>

namespace zeph {

HotKeyRecorder::HotKeyRecorder(HotKeyCenter& hotkeys, QWidget* parent)
    : QPushButton(parent)
    , m_hotkeys(hotkeys)
{
    setMinimumWidth(200);
    connect(this, &QPushButton::clicked, this, [this] {
        if (!m_isRecording)
            setRecording(true);
    });
    showCombo();
}

void HotKeyRecorder::setCombo(std::optional<KeyCombo> combo)
{
    m_combo = combo;
    if (!m_isRecording)
        showCombo();
}

std::optional<KeyCombo> HotKeyRecorder::comboOf(int qtKey, Qt::KeyboardModifiers modifiers)
{
    auto keyCode = KeyTable::keyCodeForQtKey(qtKey);
    if (!keyCode)
        return std::nullopt;
    KeyCombo combo { .keyCode = *keyCode };
    if (modifiers & Qt::ControlModifier)
        combo.modifiers |= KeyCombo::Modifiers::control;
    if (modifiers & Qt::AltModifier)
        combo.modifiers |= KeyCombo::Modifiers::option;
    if (modifiers & Qt::ShiftModifier)
        combo.modifiers |= KeyCombo::Modifiers::shift;
    if (modifiers & Qt::MetaModifier)
        combo.modifiers |= KeyCombo::Modifiers::command;
    return combo;
}

void HotKeyRecorder::keyPressEvent(QKeyEvent* event)
{
    if (!m_isRecording) {
        QPushButton::keyPressEvent(event);
        return;
    }
    event->accept();
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        setRecording(false);
        return;
    }
    auto combo = comboOf(event->key(), event->modifiers());
    if (!combo)
        return; // A modifier on its own: the key is still to come.
    // Shift alone changes what a key types, so it does not make a shortcut of its own.
    auto withoutShift = combo->modifiers.rawValue & ~KeyCombo::Modifiers::shift.rawValue;
    if (withoutShift == 0 && !KeyCode::isFunctionKey(combo->keyCode)) {
        setText(QStringLiteral("Add Ctrl, Alt or Super…"));
        return;
    }
    m_combo = *combo;
    setRecording(false);
    if (onRecorded)
        onRecorded(*combo);
}

void HotKeyRecorder::focusOutEvent(QFocusEvent* event)
{
    setRecording(false);
    QPushButton::focusOutEvent(event);
}

void HotKeyRecorder::setRecording(bool isRecording)
{
    if (isRecording == m_isRecording)
        return;
    m_isRecording = isRecording;
    m_hotkeys.setSuspended(isRecording);
    if (isRecording) {
        setText(QStringLiteral("Type a shortcut…"));
        grabKeyboard();
    } else {
        releaseKeyboard();
        showCombo();
    }
}

void HotKeyRecorder::showCombo()
{
    setText(m_combo ? QString::fromStdString(KeyTable::displayText(*m_combo))
                    : QStringLiteral("Record Shortcut"));
}

} // namespace zeph
