#pragma once

#include "Logic/LauncherView.h"
#include "UI/PanelStyle.h"

#include <chrono>
#include <filesystem>
#include <functional>

#include <QWidget>

class QLabel;
class QLineEdit;

namespace zeph {

class LauncherController;
class ResultList;

// The launcher's panel: a frameless window on top, with the search field and its mode chip, the
// list, the detail pane and the footer, drawn from the theme. It reports typing and keys to the
// controller and draws what the controller publishes.
class LauncherPanel final
    : public QWidget
    , public LauncherView {
public:
    explicit LauncherPanel(std::filesystem::path dataFolder);
    ~LauncherPanel() override;

    void setController(LauncherController* controller) { m_controller = controller; }
    void setStyle(const PanelStyle& style);
    void setVerticalPosition(double fraction) { m_verticalPosition = fraction; }

    void showPanel() override;
    void hidePanel() override;
    bool isPanelVisible() const override;
    bool isPanelKey() const override;
    void setQuery(const std::string& text, QuerySelection selection) override;
    void update(const LauncherDisplay& display) override;

    // With ZEPH_LAUNCHER_TRACE set, the time from now to the next repaint goes to standard error,
    // labelled `what`; typing marks itself.
    void traceFrom(const char* what);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void moveEvent(QMoveEvent* event) override;

private:
    bool handleKey(QKeyEvent* event);
    void place();
    // Whether the X server gives this window the keyboard; false without X.
    bool hasX11Focus() const;
    void applyStyle();

    std::filesystem::path m_dataFolder;
    LauncherController* m_controller = nullptr;
    PanelStyle m_style;
    double m_verticalPosition = 0.22;
    bool m_isPlacing = false;
    bool m_userMoved = false;
    const char* m_traceLabel = nullptr;
    std::chrono::steady_clock::time_point m_traceStart {};
    QLineEdit* m_field = nullptr;
    QLabel* m_chip = nullptr;
    ResultList* m_list = nullptr;
    QLabel* m_detail = nullptr;
    QLabel* m_footer = nullptr;
    QLabel* m_hints = nullptr;
};

} // namespace zeph
