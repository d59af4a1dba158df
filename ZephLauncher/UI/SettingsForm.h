#pragma once

#include "Logic/Observable.h"
#include "Storage/AppSettings.h"
#include "UI/HotKeyRecorder.h"
#include "UI/StringListEditor.h"

#include <functional>

#include <QWidget>

class QCheckBox;
class QDoubleSpinBox;
class QFormLayout;
class QSpinBox;

namespace zeph {

// A pane of settings, each control bound to one field: it shows the field and writes every change
// straight back, and a change from elsewhere (the command line, an agent) shows at once.
class SettingsForm final : public QWidget {
public:
    // Where a control's field lives in the settings.
    template <typename T> using Field = std::function<T&(AppSettings&)>;

    explicit SettingsForm(Observable<AppSettings>& settings, QWidget* parent = nullptr);

    void section(const QString& title);
    // A line of help under the row before it.
    void note(const QString& text);
    QCheckBox* toggle(const QString& label, Field<bool> field);
    QSpinBox* number(const QString& label, Field<std::int64_t> field, int minimum, int maximum,
        const QString& suffix = {});
    QDoubleSpinBox* decimal(const QString& label, Field<double> field, double minimum,
        double maximum, double step, const QString& suffix = {});
    StringListEditor* list(
        const QString& label, Field<std::vector<std::string>> field, StringListEditor::Entry entry);
    HotKeyRecorder* shortcut(const QString& label, Field<KeyCombo> field, HotKeyCenter& hotkeys);
    // A row for a control of the caller's, with `show` run now and on each change.
    void row(const QString& label, QWidget* widget, std::function<void(const AppSettings&)> show);

    // Writes one change.
    void change(const std::function<void(AppSettings&)>& edit);

private:
    void show(std::function<void(const AppSettings&)> show);

    Observable<AppSettings>& m_settings;
    QFormLayout* m_layout;
    std::vector<std::function<void(const AppSettings&)>> m_shows;
    Subscription m_subscription;
};

} // namespace zeph
