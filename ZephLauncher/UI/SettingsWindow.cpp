#include "UI/SettingsWindow.h"

#include "Platform/KeyTable.h"
#include "UI/AgentsPane.h"
#include "UI/SettingsForm.h"
#include "UI/SnippetsPane.h"
#include "UI/ThemePreview.h"
#include "UI/WebSearchEditor.h"
#include "UI/WorkflowsPane.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalBlocker>
#include <QStackedWidget>

namespace zeph {

namespace {

constexpr const char* paneTitles[]
    = { "General", "Search", "Snippets", "Clipboard", "Workflows", "Agents" };
constexpr const char* paneIcons[] = { "preferences-system", "system-search",
    "accessories-text-editor", "edit-paste", "system-run", "applications-science" };

QWidget* scrolling(QWidget* content)
{
    auto* area = new QScrollArea;
    area->setWidget(content);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    // Tab goes from the list of panes straight to the pane's first control; the area scrolls to
    // whichever control has the focus.
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

} // namespace

SettingsWindow::SettingsWindow(Services services, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_services(std::move(services))
    , m_review(m_services.model)
    , m_panes(new QListWidget(this))
    , m_stack(new QStackedWidget(this))
{
    setWindowTitle(QStringLiteral("Zeph Launcher Settings"));
    setObjectName(QStringLiteral("ZephLauncherSettings"));
    resize(1120, 740);
    setMinimumSize(900, 600);
    m_panes->setFixedWidth(190);
    m_panes->setIconSize(QSize(22, 22));
    m_panes->setSpacing(2);
    for (std::size_t index = 0; index < std::size(paneTitles); ++index)
        new QListWidgetItem(QIcon::fromTheme(QString::fromLatin1(paneIcons[index])),
            QString::fromLatin1(paneTitles[index]), m_panes);
    m_stack->addWidget(scrolling(makeGeneralPane()));
    m_stack->addWidget(scrolling(makeSearchPane()));
    m_stack->addWidget(scrolling(makeSnippetsPane()));
    m_stack->addWidget(scrolling(makeClipboardPane()));
    auto* workflows = new WorkflowsPane(m_services.model, m_services.workflows, m_review);
    workflows->onEdit = [this](Workflow workflow) { editWorkflow(std::move(workflow)).show(); };
    m_stack->addWidget(workflows);
    m_stack->addWidget(scrolling(new AgentsPane(m_review, m_services.model)));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_panes);
    layout->addWidget(m_stack, 1);
    connect(m_panes, &QListWidget::currentRowChanged, m_stack, &QStackedWidget::setCurrentIndex);
    m_panes->setCurrentRow(0);

    // Shortcuts rather than key handling, so that they work whichever control has the focus:
    // Ctrl+W and Escape close, Ctrl+Page Up and Ctrl+Page Down change pane.
    auto shortcut = [this](QKeySequence keys, auto action) {
        connect(new QShortcut(keys, this), &QShortcut::activated, this, action);
    };
    shortcut(QKeySequence::Close, [this] { close(); });
    shortcut(QKeySequence(Qt::Key_Escape), [this] { close(); });
    auto step = [this](int by) {
        auto count = m_panes->count();
        m_panes->setCurrentRow((m_panes->currentRow() + by + count) % count);
    };
    shortcut(QKeySequence(Qt::CTRL | Qt::Key_PageDown), [step] { step(1); });
    shortcut(QKeySequence(Qt::CTRL | Qt::Key_PageUp), [step] { step(-1); });
}

SettingsWindow::~SettingsWindow()
{
    for (auto& [id, editor] : m_editors)
        delete editor.data();
}

WorkflowEditor& SettingsWindow::editWorkflow(Workflow workflow)
{
    auto& editor = m_editors[workflow.id];
    if (!editor) {
        editor = new WorkflowEditor(
            { m_services.model, m_services.hotkeys, m_services.loop, m_services.makeScriptRunner },
            std::move(workflow));
        editor->setAttribute(Qt::WA_DeleteOnClose);
    }
    editor->raise();
    editor->activateWindow();
    return *editor;
}

void SettingsWindow::showPane(Pane pane)
{
    m_panes->setCurrentRow(static_cast<int>(pane));
}

void SettingsWindow::present()
{
    show();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    raise();
    activateWindow();
    m_panes->setFocus();
}

QWidget* SettingsWindow::makeGeneralPane()
{
    auto& model = m_services.model;
    auto* form = new SettingsForm(model.settings());
    form->section(QStringLiteral("Launcher"));
    form->shortcut(
        QStringLiteral("Shortcut:"),
        [](AppSettings& settings) -> KeyCombo& { return settings.hotkey; }, m_services.hotkeys);
    form->note(
        QStringLiteral("Click it, then type the new shortcut. On Wayland, bind "
                       "“zeph-launcher --toggle” in the desktop's keyboard settings instead."));
    form->toggle(QStringLiteral("Learn from what I choose"),
        [](AppSettings& settings) -> bool& { return settings.learningEnabled; });
    form->decimal(
        QStringLiteral("Keep the last query for:"),
        [](AppSettings& settings) -> double& { return settings.keepQuerySeconds; }, 0, 3600, 5,
        QStringLiteral(" s"));
    form->decimal(
        QStringLiteral("Height on screen:"),
        [](AppSettings& settings) -> double& { return settings.verticalPosition; }, 0, 0.9, 0.01);

    form->section(QStringLiteral("Appearance"));
    auto* themes = new QComboBox;
    auto* preview = new ThemePreview;
    auto showThemes = [this, themes, preview] {
        QSignalBlocker block(themes);
        themes->clear();
        auto library = m_services.model.customThemes().get();
        const auto& chosen = m_services.model.settings().get().themeID;
        for (const auto& theme : library.all()) {
            themes->addItem(QString::fromStdString(theme.name), QString::fromStdString(theme.id));
            if (theme.id == chosen)
                themes->setCurrentIndex(themes->count() - 1);
        }
        preview->setStyle(m_services.styleOf(library.theme(chosen)));
    };
    // Choosing a theme applies it at once: the panel takes it the next time it opens.
    connect(themes, &QComboBox::currentIndexChanged, form, [form, themes] {
        auto id = themes->currentData().toString().toStdString();
        form->change([&](AppSettings& settings) { settings.themeID = id; });
    });
    form->row(QStringLiteral("Theme:"), themes, [showThemes](const AppSettings&) { showThemes(); });
    form->row(QString {}, preview, [](const AppSettings&) {});
    m_subscriptions.push_back(m_services.model.customThemes().subscribe(
        [showThemes](const ThemeLibrary&) { showThemes(); }));

    form->section(QStringLiteral("System"));
    form->toggle(QStringLiteral("Start Zeph Launcher when I log in"),
        [](AppSettings& settings) -> bool& { return settings.launchAtLogin; });
    form->toggle(QStringLiteral("Show the icon in the tray"),
        [](AppSettings& settings) -> bool& { return settings.showMenuBarIcon; });
    return form;
}

QWidget* SettingsWindow::makeSearchPane()
{
    auto* form = new SettingsForm(m_services.model.settings());
    using Setting = SettingsForm::Field<bool>;
    auto toggle = [form](const char* label, Setting field) {
        form->toggle(QString::fromUtf8(label), std::move(field));
    };
    form->section(QStringLiteral("What the launcher finds"));
    toggle("Applications", [](AppSettings& s) -> bool& { return s.search.includeApplications; });
    toggle(
        "System settings", [](AppSettings& s) -> bool& { return s.search.includeSystemSettings; });
    toggle("System commands (lock, log out, restart…)",
        [](AppSettings& s) -> bool& { return s.search.includeSystemCommands; });
    toggle("Files and folders", [](AppSettings& s) -> bool& { return s.search.includeFiles; });
    toggle("Calculator", [](AppSettings& s) -> bool& { return s.search.includeCalculator; });
    toggle("Web searches when nothing else matches",
        [](AppSettings& s) -> bool& { return s.search.showFallbacks; });
    form->number(
        QStringLiteral("Results at most:"),
        [](AppSettings& s) -> std::int64_t& { return s.search.maxResults; }, 1, 50);

    form->section(QStringLiteral("Applications"));
    form->list(
        QStringLiteral("Folders:"),
        [](AppSettings& s) -> std::vector<std::string>& { return s.search.applicationFolders; },
        StringListEditor::Entry::folder);
    form->note(QStringLiteral("Folders of desktop entries; where two hold the same entry, the "
                              "first wins."));

    form->section(QStringLiteral("Files"));
    form->number(
        QStringLiteral("File results at most:"),
        [](AppSettings& s) -> std::int64_t& { return s.search.fileResultLimit; }, 0, 50);
    form->list(
        QStringLiteral("Search in:"),
        [](AppSettings& s) -> std::vector<std::string>& { return s.search.fileScopes; },
        StringListEditor::Entry::folder);
    form->list(
        QStringLiteral("Never in:"),
        [](AppSettings& s) -> std::vector<std::string>& { return s.search.excludedPaths; },
        StringListEditor::Entry::folder);
    auto* categories = new QWidget;
    auto* grid = new QGridLayout(categories);
    grid->setContentsMargins(0, 0, 0, 0);
    std::vector<std::pair<FileCategory, QCheckBox*>> boxes;
    for (auto category : everyFileCategory) {
        auto* box = new QCheckBox(
            QString::fromUtf8(title(category).data(), static_cast<int>(title(category).size())));
        auto index = static_cast<int>(boxes.size());
        grid->addWidget(box, index / 4, index % 4);
        boxes.emplace_back(category, box);
        connect(box, &QCheckBox::toggled, form, [form, category](bool isOn) {
            form->change([&](AppSettings& settings) {
                auto& chosen = settings.search.fileCategories;
                std::erase(chosen, category);
                if (isOn) {
                    // Kept in the order of the categories, whatever the order of the clicks.
                    std::vector<FileCategory> ordered;
                    for (auto each : everyFileCategory) {
                        if (each == category
                            || std::find(chosen.begin(), chosen.end(), each) != chosen.end())
                            ordered.push_back(each);
                    }
                    chosen = std::move(ordered);
                }
            });
        });
    }
    form->row(QStringLiteral("Kinds:"), categories, [boxes](const AppSettings& settings) {
        const auto& chosen = settings.search.fileCategories;
        for (auto& [category, box] : boxes) {
            QSignalBlocker block(box);
            box->setChecked(std::find(chosen.begin(), chosen.end(), category) != chosen.end());
        }
    });
    toggle("Search inside text files",
        [](AppSettings& s) -> bool& { return s.search.indexFileContents; });
    toggle("Browse folders with Tab and Backspace",
        [](AppSettings& s) -> bool& { return s.search.fileNavigation; });
    toggle("Show hidden files", [](AppSettings& s) -> bool& { return s.search.showHiddenFiles; });
    toggle("Show a preview of the selected file",
        [](AppSettings& s) -> bool& { return s.search.showPreview; });

    form->section(QStringLiteral("Web searches"));
    auto* searches = new WebSearchEditor;
    searches->onChange = [form](std::vector<WebSearch> now) {
        form->change([&](AppSettings& settings) { settings.search.webSearches = std::move(now); });
    };
    form->row(QString {}, searches, [searches](const AppSettings& settings) {
        searches->setSearches(settings.search.webSearches);
    });
    form->note(QStringLiteral("Type a keyword, a space and the query: “g linux launcher”."));
    return form;
}

QWidget* SettingsWindow::makeSnippetsPane()
{
    auto* form = new SettingsForm(m_services.model.settings());
    form->section(QStringLiteral("Expansion"));
    form->toggle(QStringLiteral("Expand snippets as I type"),
        [](AppSettings& s) -> bool& { return s.snippets.autoExpand; });
    form->note(QStringLiteral("Typed expansion works in an X11 session. On Wayland, insert "
                              "snippets from the launcher."));
    form->toggle(QStringLiteral("Only after a space or punctuation"),
        [](AppSettings& s) -> bool& { return s.snippets.requireWordBoundary; });
    form->toggle(QStringLiteral("Put the clipboard back after pasting"),
        [](AppSettings& s) -> bool& { return s.snippets.restoreClipboard; });
    auto* keyword = new QLineEdit;
    keyword->setMaximumWidth(200);
    connect(keyword, &QLineEdit::editingFinished, form, [form, keyword] {
        form->change([&](AppSettings& settings) {
            settings.snippets.launcherKeyword = keyword->text().trimmed().toStdString();
        });
    });
    form->row(QStringLiteral("Launcher keyword:"), keyword, [keyword](const AppSettings& settings) {
        if (!keyword->hasFocus())
            keyword->setText(QString::fromStdString(settings.snippets.launcherKeyword));
    });
    form->list(
        QStringLiteral("Never expand in:"),
        [](AppSettings& s) -> std::vector<std::string>& { return s.snippets.excludedBundleIDs; },
        StringListEditor::Entry::text);
    form->note(QStringLiteral(
        "Application ids, such as “org.keepassxc.KeePassXC”. Nothing expands while another program "
        "holds the keyboard (password prompts, lock screens), nor in a password field that the "
        "desktop's accessibility service reports; where that service does not run, a password "
        "field is not recognised, so list its program here."));
    form->section(QStringLiteral("Collections"));
    auto* snippets = new SnippetsPane(m_services.model);
    snippets->setMinimumHeight(460);
    form->row(QString {}, snippets, [](const AppSettings&) {});
    return form;
}

QWidget* SettingsWindow::makeClipboardPane()
{
    auto& model = m_services.model;
    auto* form = new SettingsForm(model.settings());
    form->section(QStringLiteral("History"));
    form->toggle(QStringLiteral("Keep a history of what I copy"),
        [](AppSettings& s) -> bool& { return s.clipboard.enabled; });
    form->toggle(QStringLiteral("Keep images too"),
        [](AppSettings& s) -> bool& { return s.clipboard.includeImages; });
    form->number(
        QStringLiteral("Entries at most:"),
        [](AppSettings& s) -> std::int64_t& { return s.clipboard.maxItems; }, 1, 10000);
    form->number(
        QStringLiteral("Forget entries after:"),
        [](AppSettings& s) -> std::int64_t& { return s.clipboard.retentionDays; }, 1, 3650,
        QStringLiteral(" days"));
    form->toggle(QStringLiteral("Keep pinned entries for ever"),
        [](AppSettings& s) -> bool& { return s.clipboard.keepPinnedForever; });
    form->list(
        QStringLiteral("Never keep copies from:"),
        [](AppSettings& s) -> std::vector<std::string>& { return s.clipboard.excludedBundleIDs; },
        StringListEditor::Entry::text);
    form->note(QStringLiteral("Application ids. Password managers are in the list from the "
                              "start, and copies they mark as secret are never kept."));
    auto* clear = new QPushButton(QStringLiteral("Clear History"));
    connect(clear, &QPushButton::clicked, form, [&model] {
        std::vector<std::string> unpinned;
        for (const auto& item : model.clipboardHistory().get().items) {
            if (!item.pinned)
                unpinned.push_back(item.id);
        }
        for (const auto& id : unpinned)
            model.removeClipboardItem(id);
    });
    form->row(QString {}, clear, [](const AppSettings&) {});
    form->note(QStringLiteral("Clearing keeps the pinned entries."));
    return form;
}

} // namespace zeph
