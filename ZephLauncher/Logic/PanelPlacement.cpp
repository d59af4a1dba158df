#include "Logic/PanelPlacement.h"

#include "Storage/JSONFileStore.h"
#include "Support/Json.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace zeph::PanelPlacement {

bool Rect::contains(Point point) const
{
    return point.x >= x && point.x < x + width && point.y >= y && point.y < y + height;
}

std::optional<Rect> position(const std::vector<Screen>& screens, Point pointer, double width,
    double verticalPosition, std::optional<Point> stored)
{
    if (screens.empty())
        return std::nullopt;
    auto screen = std::find_if(screens.begin(), screens.end(),
        [&](const Screen& candidate) { return candidate.frame.contains(pointer); });
    if (screen == screens.end())
        screen = std::find_if(screens.begin(), screens.end(),
            [](const Screen& candidate) { return candidate.isPrimary; });
    if (screen == screens.end())
        screen = screens.begin();
    auto& frame = screen->frame;
    auto& available = screen->available;
    Rect panel { .width = std::max(width, minimumWidth), .height = height };
    panel.x = frame.x + frame.width / 2 - panel.width / 2;
    panel.y = frame.y + frame.height * verticalPosition;
    if (stored && available.contains({ stored->x + 40, stored->y + 20 })) {
        panel.x = stored->x;
        panel.y = stored->y;
    }
    // Inside the available area: the top first, then the bottom; the left, then the right.
    panel.y = std::max(panel.y, available.y);
    panel.y = std::min(panel.y, available.y + available.height - panel.height);
    panel.x = std::max(panel.x, available.x);
    panel.x = std::min(panel.x, available.x + available.width - panel.width);
    return panel;
}

std::optional<Point> storedPosition(const std::filesystem::path& dataFolder)
{
    std::ifstream file(dataFolder / positionFile);
    if (!file)
        return std::nullopt;
    std::ostringstream text;
    text << file.rdbuf();
    auto json = Json::parse(text.str());
    if (!json || !json->is_array() || json->size() != 2 || !(*json)[0].is_number()
        || !(*json)[1].is_number())
        return std::nullopt;
    return Point { (*json)[0].get<double>(), (*json)[1].get<double>() };
}

std::optional<Error> storePosition(const std::filesystem::path& dataFolder, Point topLeft)
{
    auto text = Json::documentText(Json::Value::array({ topLeft.x, topLeft.y }));
    if (!text)
        return text.error();
    return atomicFileWriter().replaceFile(dataFolder / positionFile, *text);
}

void forgetPosition(const std::filesystem::path& dataFolder)
{
    std::error_code ignored;
    std::filesystem::remove(dataFolder / positionFile, ignored);
}

} // namespace zeph::PanelPlacement
