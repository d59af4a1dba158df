#include "UI/SettingsWindow.h"

#include "Logic/LauncherWorld.h"
#include "Shell/TestApplication.h"
#include "UI/FirstRunWindow.h"
#include "UI/HotKeyRecorder.h"
#include "UI/SnippetsPane.h"
#include "UI/StringListEditor.h"
#include "UI/WorkflowEditor.h"
#include "Workflows/WorkflowTemplate.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <QTreeWidget>

namespace {

using namespace zeph;

// The settings window over the whole launcher's fakes, on Qt's offscreen platform.
struct SettingsWindowTest : testing::Test {
    std::unique_ptr<Testing::TestApplication<QApplication>> application;
    std::unique_ptr<LauncherWorld> world;
    std::unique_ptr<SettingsWindow> window;

    void SetUp() override
    {
        application = std::make_unique<Testing::TestApplication<QApplication>>();
        world = std::make_unique<LauncherWorld>();
        window = std::make_unique<SettingsWindow>(SettingsWindow::Services { world->model,
            world->hotkeys, world->executor, world->loop, world->makeScriptRunner,
            [](const Theme& theme) { return PanelStyle::make(theme, false, true); } });
        window->present();
    }
    void TearDown() override
    {
        window.reset();
        world.reset();
        application.reset();
    }

    template <typename Widget> Widget* find(const QString& text)
    {
        for (auto* widget : window->findChildren<Widget*>()) {
            if (widget->text() == text)
                return widget;
        }
        ADD_FAILURE() << "no control " << text.toStdString();
        return nullptr;
    }
    const AppSettings& settings() { return world->model.settings().get(); }
};

TEST_F(SettingsWindowTest, ControlsWriteTheirSettingAndShowChangesFromElsewhere)
{
    auto* files = find<QCheckBox>(QStringLiteral("Files and folders"));
    ASSERT_TRUE(files);
    EXPECT_TRUE(files->isChecked());
    files->click();
    EXPECT_FALSE(settings().search.includeFiles);

    // The command line or an agent changes the settings while the window is open.
    world->model.settings().change([](AppSettings& now) {
        now.search.includeFiles = true;
        now.clipboard.maxItems = 321;
    });
    EXPECT_TRUE(files->isChecked());
    bool shown = false;
    for (auto* box : window->findChildren<QSpinBox*>())
        shown = shown || box->value() == 321;
    EXPECT_TRUE(shown);

    auto* pdfs = find<QCheckBox>(QStringLiteral("PDFs"));
    ASSERT_TRUE(pdfs);
    pdfs->click();
    pdfs->click();
    auto every = std::vector<FileCategory>(everyFileCategory.begin(), everyFileCategory.end());
    EXPECT_EQ(settings().search.fileCategories, every) << "back in the categories' own order";
}

TEST_F(SettingsWindowTest, TheShortcutRecorderTakesAComboWithAModifierAndStepsTheHotKeysAside)
{
    auto* recorder = window->findChild<HotKeyRecorder*>();
    ASSERT_TRUE(recorder);
    EXPECT_EQ(recorder->text(), QStringLiteral("Alt+Space"));
    auto id = world->hotkeys.register_(
        { .keyCode = 40, .modifiers = KeyCombo::Modifiers::control }, [] {});
    ASSERT_TRUE(id);
    recorder->click();
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_TRUE(world->hotkeyService.held.empty()) << "released while recording";

    QTest::keyClick(recorder, Qt::Key_K);
    EXPECT_TRUE(recorder->isRecording()) << "a bare letter is no global shortcut";
    QTest::keyClick(recorder, Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(settings().hotkey,
        (KeyCombo { .keyCode = 40,
            .modifiers = KeyCombo::Modifiers::control | KeyCombo::Modifiers::shift }));
    EXPECT_EQ(recorder->text(), QStringLiteral("Ctrl+Shift+K"));
    EXPECT_EQ(world->hotkeyService.held.size(), 1u) << "taken back after recording";

    recorder->click();
    QTest::keyClick(recorder, Qt::Key_Escape);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(settings().hotkey.keyCode, 40u);
    EXPECT_EQ(HotKeyRecorder::comboOf(Qt::Key_F5, Qt::NoModifier)->keyCode, 96u);
    EXPECT_FALSE(HotKeyRecorder::comboOf(Qt::Key_Control, Qt::ControlModifier));
}

TEST_F(SettingsWindowTest, ListsOfFoldersAndIdsEditInPlace)
{
    // Both panes start with the same password managers; the snippets' list is made different.
    world->model.settings().change(
        [](AppSettings& now) { now.snippets.excludedBundleIDs = { "org.example.Editor" }; });
    StringListEditor* exclusions = nullptr;
    for (auto* editor : window->findChildren<StringListEditor*>()) {
        if (editor->values() == settings().clipboard.excludedBundleIDs)
            exclusions = editor;
    }
    ASSERT_TRUE(exclusions);
    auto* list = exclusions->findChild<QListWidget*>();
    list->setCurrentRow(0);
    auto first = settings().clipboard.excludedBundleIDs.front();
    QTest::keyClick(list, Qt::Key_Delete);
    EXPECT_EQ(std::count(settings().clipboard.excludedBundleIDs.begin(),
                  settings().clipboard.excludedBundleIDs.end(), first),
        0);
    list->item(0)->setText(QStringLiteral("org.example.Vault"));
    EXPECT_EQ(settings().clipboard.excludedBundleIDs.front(), "org.example.Vault");
}

TEST_F(SettingsWindowTest, WorkflowsAddExamplesTwiceWithIdsOfTheirOwnAndApproveWhatAnAgentMade)
{
    world->model.workflows().set({ Workflow { .id = "agent",
        .name = "From an agent",
        .isEnabled = false,
        .createdByAgent = true,
        .pendingReview = true } });
    auto* add = find<QPushButton>(QStringLiteral("Add Example Workflows"));
    ASSERT_TRUE(add);
    add->click();
    add->click();
    const auto& workflows = world->model.workflows().get();
    EXPECT_EQ(workflows.size(), 1 + 2 * WorkflowTemplate::examples().size());
    std::set<std::string> ids;
    for (const auto& workflow : workflows)
        ids.insert(workflow.id);
    EXPECT_EQ(ids.size(), workflows.size());

    auto* list = window->findChild<QTreeWidget*>();
    ASSERT_TRUE(list);
    // Only the review may enable what an agent made: its switch does nothing.
    list->topLevelItem(0)->setCheckState(0, Qt::Checked);
    EXPECT_FALSE(workflows[0].isEnabled);
    list->topLevelItem(1)->setCheckState(0, Qt::Unchecked);
    EXPECT_FALSE(workflows[1].isEnabled);

    window->showPane(SettingsWindow::Pane::workflows);
    list->setCurrentItem(list->topLevelItem(0));
    QPushButton* approve = nullptr;
    for (auto* button : window->findChildren<QPushButton*>()) {
        if (button->text() == QStringLiteral("Approve and Enable")
            && button->isVisibleTo(window.get()))
            approve = button;
    }
    ASSERT_TRUE(approve);
    approve->click();
    EXPECT_TRUE(workflows[0].isEnabled);
    EXPECT_FALSE(workflows[0].pendingReview);
    EXPECT_TRUE(std::filesystem::exists(world->model.dataFolder() / Paths::reviewFile));
}

TEST_F(SettingsWindowTest, SnippetsEditInPlaceWithTheirTextRenderedAsItWouldBeInserted)
{
    world->model.snippetCollections().set({ SnippetCollection { .id = "c",
        .name = "Mine",
        .prefix = ";",
        .snippets = { Snippet { .id = "s", .name = "Greeting", .keyword = "hi" } } } });
    window->showPane(SettingsWindow::Pane::snippets);
    auto* pane = window->findChild<SnippetsPane*>();
    ASSERT_TRUE(pane);
    auto* tree = pane->findChild<QTreeWidget*>();
    tree->setCurrentItem(tree->topLevelItem(0)->child(0));

    auto* content = pane->findChild<QPlainTextEdit*>();
    ASSERT_TRUE(content);
    content->setFocus();
    QTest::keyClicks(content, "Hi {cursor}there");
    const auto& collections = world->model.snippetCollections().get();
    EXPECT_EQ(collections[0].snippets[0].content, "Hi {cursor}there");
    bool previewed = false;
    for (auto* label : pane->findChildren<QLabel*>())
        previewed = previewed || label->text() == QStringLiteral("Hi │there");
    EXPECT_TRUE(previewed) << "the caret's place marked where {cursor} leaves it";
    EXPECT_EQ(tree->currentItem(), tree->topLevelItem(0)->child(0)) << "the selection stays";

    QLineEdit* keyword = nullptr;
    for (auto* field : pane->findChildren<QLineEdit*>()) {
        if (field->text() == QStringLiteral("hi"))
            keyword = field;
    }
    ASSERT_TRUE(keyword);
    keyword->setFocus();
    QTest::keyClick(keyword, Qt::Key_End);
    QTest::keyClicks(keyword, "ya");
    EXPECT_EQ(collections[0].snippets[0].keyword, "hiya");
    EXPECT_EQ(*collections[0].triggerText(collections[0].snippets[0]), ";hiya");

    tree->topLevelItem(0)->setCheckState(0, Qt::Unchecked);
    EXPECT_FALSE(collections[0].isEnabled);
}

TEST(FirstRunWindow, SaysWhatWorksInTheSessionAndWhatToDoWhereSomethingDoesNot)
{
    AppSettings settings;
    auto x11 = FirstRunWindow::sessionNotes({}, settings, true);
    ASSERT_EQ(x11.size(), 4u);
    EXPECT_EQ(x11[0], QStringLiteral("✓ Alt+Space opens the launcher from any program."));
    EXPECT_TRUE(
        std::all_of(x11.begin(), x11.end(), [](auto& note) { return note.startsWith(u'✓'); }));
    EXPECT_TRUE(FirstRunWindow::sessionNotes({}, settings, false)[0].startsWith(
        QStringLiteral("✗ Alt+Space is taken by another program.")));

    FirstRunWindow::Session wayland { .isWayland = true,
        .hasGlobalShortcuts = false,
        .typesSnippets = false,
        .keepsEveryCopy = false,
        .hasTray = false };
    auto notes = FirstRunWindow::sessionNotes(wayland, settings, false);
    EXPECT_TRUE(
        std::all_of(notes.begin(), notes.end(), [](auto& note) { return note.startsWith(u'✗'); }));
    EXPECT_TRUE(notes[0].contains(QStringLiteral("“zeph-launcher --toggle”")));
    EXPECT_TRUE(notes[1].contains(QStringLiteral("type “snip”")));
    EXPECT_TRUE(notes[2].contains(QStringLiteral("wl-clipboard")));
    EXPECT_TRUE(notes[3].contains(QStringLiteral("“zeph-launcher --settings”")));
}

TEST_F(SettingsWindowTest, TheWelcomeEndsTheFirstRunOnlyWhenTheUserClosesIt)
{
    auto make = [&] {
        return std::make_unique<FirstRunWindow>(
            world->model.settings(), world->hotkeys, FirstRunWindow::Session {},
            [] { return true; }, [] {});
    };
    auto welcome = make();
    welcome->show();
    welcome.reset(); // As when the application quits.
    EXPECT_FALSE(settings().hasCompletedOnboarding);
    welcome = make();
    welcome->show();
    for (auto* button : welcome->findChildren<QPushButton*>()) {
        if (button->text() == QStringLiteral("Get Started"))
            button->click();
    }
    EXPECT_TRUE(settings().hasCompletedOnboarding);
    EXPECT_FALSE(welcome->isVisible());
}

TEST_F(SettingsWindowTest, TheWorkflowEditorBuildsAWorkflowThatTestsAndSavesOnlyOnSave)
{
    auto& editor = window->editWorkflow(Workflow { .id = "new", .name = "Greeter" });
    auto palette = [&](const QString& kind) {
        for (auto* action : editor.findChildren<QAction*>()) {
            if (action->text() == kind)
                return action;
        }
        ADD_FAILURE() << "no node " << kind.toStdString();
        return static_cast<QAction*>(nullptr);
    };
    auto findings = [&] {
        QString shown;
        for (auto* label : editor.findChildren<QLabel*>()) {
            if (label->isVisibleTo(&editor) && label->text().startsWith(u'⚠'))
                shown += label->text();
        }
        return shown;
    };
    EXPECT_TRUE(findings().contains(QStringLiteral("so the workflow can be started")));
    palette(QStringLiteral("Keyword"))->trigger();
    EXPECT_TRUE(findings().contains(QStringLiteral("Keyword has no keyword.")));
    // The form of the new node: its keyword field is the first line field.
    auto fields = editor.findChildren<QLineEdit*>();
    QLineEdit* keyword = nullptr;
    for (auto* field : fields) {
        if (field->isVisibleTo(&editor) && field->text().isEmpty()
            && field->placeholderText().isEmpty() && !keyword && field->parentWidget() != &editor)
            keyword = field;
    }
    ASSERT_TRUE(keyword);
    keyword->setFocus();
    QTest::keyClicks(keyword, "greet");
    ASSERT_EQ(editor.workflow().nodes.size(), 1u);
    EXPECT_EQ(*editor.workflow().nodes[0].kind.keyword(), "greet");
    EXPECT_FALSE(findings().contains(QStringLiteral("has no keyword")));
    palette(QStringLiteral("Large Type"))->trigger();
    auto* connect = [&] {
        for (auto* button : editor.findChildren<QPushButton*>()) {
            if (button->text() == QStringLiteral("Connect"))
                return button;
        }
        return static_cast<QPushButton*>(nullptr);
    }();
    ASSERT_TRUE(connect);
    connect->click();
    ASSERT_EQ(editor.workflow().connections.size(), 1u);
    EXPECT_EQ(editor.workflow().connections[0].from, editor.workflow().nodes[0].id);

    EXPECT_TRUE(world->model.workflows().get().empty()) << "nothing saved before Save";
    EXPECT_TRUE(editor.hasChanges());
    std::vector<std::string> report;
    editor.test("Ann", [&](std::vector<std::string> lines) { report = std::move(lines); });
    world->loop.runBackground();
    ASSERT_FALSE(report.empty());
    EXPECT_EQ(report.front(), "Steps:");
    EXPECT_NE(std::find(report.begin(), report.end(), "Actions that would run:"), report.end());

    editor.save();
    ASSERT_EQ(world->model.workflows().get().size(), 1u);
    EXPECT_EQ(world->model.workflows().get()[0].name, "Greeter");
    EXPECT_FALSE(editor.hasChanges());
}

} // namespace
