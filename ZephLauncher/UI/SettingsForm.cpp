#include "UI/SettingsForm.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>

namespace zeph {

namespace {

// Fields are named by accessors to a record that may change; reading through one changes nothing.
template <typename T>
const T& read(const SettingsForm::Field<T>& field, const AppSettings& settings)
{
    return field(const_cast<AppSettings&>(settings));
}

} // namespace

SettingsForm::SettingsForm(Observable<AppSettings>& settings, QWidget* parent)
    : QWidget(parent)
    , m_settings(settings)
    , m_layout(new QFormLayout(this))
{
    m_layout->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    m_layout->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_layout->setContentsMargins(24, 16, 24, 24);
    m_subscription = settings.subscribe([this](const AppSettings& now) {
        for (auto& show : m_shows)
            show(now);
    });
}

void SettingsForm::section(const QString& title)
{
    auto* heading = new QLabel(title, this);
    auto font = heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    heading->setFont(font);
    if (m_layout->rowCount() > 0)
        heading->setContentsMargins(0, 14, 0, 2);
    m_layout->addRow(heading);
}

void SettingsForm::note(const QString& text)
{
    auto* label = new QLabel(text, this);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    m_layout->addRow(QString {}, label);
}

QCheckBox* SettingsForm::toggle(const QString& label, Field<bool> field)
{
    auto* box = new QCheckBox(label, this);
    connect(box, &QCheckBox::toggled, this, [this, field](bool isOn) {
        change([&](AppSettings& settings) { field(settings) = isOn; });
    });
    m_layout->addRow(QString {}, box);
    show([box, field](const AppSettings& settings) {
        QSignalBlocker block(box);
        box->setChecked(read(field, settings));
    });
    return box;
}

QSpinBox* SettingsForm::number(const QString& label, Field<std::int64_t> field, int minimum,
    int maximum, const QString& suffix)
{
    auto* box = new QSpinBox(this);
    box->setRange(minimum, maximum);
    box->setSuffix(suffix);
    box->setMaximumWidth(160);
    connect(box, &QSpinBox::valueChanged, this, [this, field](int value) {
        change([&](AppSettings& settings) { field(settings) = value; });
    });
    m_layout->addRow(label, box);
    show([box, field](const AppSettings& settings) {
        QSignalBlocker block(box);
        box->setValue(static_cast<int>(read(field, settings)));
    });
    return box;
}

QDoubleSpinBox* SettingsForm::decimal(const QString& label, Field<double> field, double minimum,
    double maximum, double step, const QString& suffix)
{
    auto* box = new QDoubleSpinBox(this);
    box->setRange(minimum, maximum);
    box->setSingleStep(step);
    box->setDecimals(step < 0.1 ? 2 : 1);
    box->setSuffix(suffix);
    box->setMaximumWidth(160);
    connect(box, &QDoubleSpinBox::valueChanged, this, [this, field](double value) {
        change([&](AppSettings& settings) { field(settings) = value; });
    });
    m_layout->addRow(label, box);
    show([box, field](const AppSettings& settings) {
        QSignalBlocker block(box);
        box->setValue(read(field, settings));
    });
    return box;
}

StringListEditor* SettingsForm::list(
    const QString& label, Field<std::vector<std::string>> field, StringListEditor::Entry entry)
{
    auto* editor = new StringListEditor(entry, this);
    editor->onChange = [this, field](std::vector<std::string> values) {
        change([&](AppSettings& settings) { field(settings) = std::move(values); });
    };
    m_layout->addRow(label, editor);
    show(
        [editor, field](const AppSettings& settings) { editor->setValues(read(field, settings)); });
    return editor;
}

HotKeyRecorder* SettingsForm::shortcut(
    const QString& label, Field<KeyCombo> field, HotKeyCenter& hotkeys)
{
    auto* recorder = new HotKeyRecorder(hotkeys, this);
    recorder->onRecorded = [this, field](const KeyCombo& combo) {
        change([&](AppSettings& settings) { field(settings) = combo; });
    };
    m_layout->addRow(label, recorder);
    show([recorder, field](
             const AppSettings& settings) { recorder->setCombo(read(field, settings)); });
    return recorder;
}

void SettingsForm::row(
    const QString& label, QWidget* widget, std::function<void(const AppSettings&)> show)
{
    widget->setParent(this);
    m_layout->addRow(label, widget);
    this->show(std::move(show));
}

void SettingsForm::change(const std::function<void(AppSettings&)>& edit)
{
    auto settings = m_settings.get();
    edit(settings);
    if (settings != m_settings.get())
        m_settings.set(std::move(settings));
}

void SettingsForm::show(std::function<void(const AppSettings&)> show)
{
    show(m_settings.get());
    m_shows.push_back(std::move(show));
}

} // namespace zeph
