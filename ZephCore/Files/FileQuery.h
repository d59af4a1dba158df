#pragma once

#include "Files/ContentTypes.h"
#include "Support/Result.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zeph {

// What a file search asks of the index, read from the predicate text that the launcher writes
// for a request: the words, each of which must begin a word of the display name or of the text
// inside the file ("kMDItemDisplayName == \"tax*\"cdw && …"), the content types of the chosen
// categories ("(kMDItemContentTypeTree == \"public.image\" || …)") and whether folders are left out
// ("kMDItemContentType != \"public.folder\"").
struct FileQuery {
    enum class Field { name, contents };
    Field field = Field::name;
    std::vector<std::string> words {}; // As typed, without their escapes.
    // A file must conform to one of these; an empty set matches nothing. None: any type.
    std::optional<ContentTypes::Bits> types {};
    bool excludesFolders = false;
    bool operator==(const FileQuery&) const = default;

    // The query of a predicate text; text that is no such predicate, or that asks for no word,
    // is an error.
    static Result<FileQuery> parse(std::string_view predicate);
};

} // namespace zeph
