#pragma once

#include "Storage/Paths.h"
#include "Support/FileLock.h"
#include "Support/Json.h"
#include "Support/Result.h"

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace zeph {

// Replaces a whole file so that a crash at any moment leaves either the old or the new bytes.
class FileWriting {
public:
    virtual ~FileWriting() = default;
    // Returns the failure, if any; the old file is then as it was.
    virtual std::optional<Error> replaceFile(
        const std::filesystem::path& path, std::string_view bytes)
        = 0;
};

// The writer of every document: a temporary file in the same folder, fsync, rename over the target,
// fsync of the folder, so that the rename itself is on disk when the call returns.
class AtomicFileWriter final : public FileWriting {
public:
    std::optional<Error> replaceFile(
        const std::filesystem::path& path, std::string_view bytes) override;
};
FileWriting& atomicFileWriter();

// The file under a store, with no knowledge of the document inside.
class DocumentFile {
public:
    DocumentFile(
        std::string fileName, std::optional<std::filesystem::path> directory, FileWriting& writer);

    enum class Found {
        bytes,
        nothing, // No file, or something other than a file: nothing to keep or to decode.
        unreadable, // A file that could not be read: kept safe before anything replaces it.
    };
    struct Contents {
        Found found = Found::nothing;
        std::string bytes {};
    };
    Contents read() const;
    // The document in the bytes; the error names the file. A list of records also takes and gives
    // `recordTexts`, as decodeDocument does.
    template <typename Document, typename Records = std::nullptr_t>
    Result<Document> decode(std::string_view bytes, Records recordTexts = nullptr) const
    {
        auto document = decodeDocument<Document>(bytes, recordTexts);
        if (!document)
            return Error { m_fileName + " is not valid JSON." };
        if (!*document)
            return Error { m_fileName + " is not valid: " + document->error().message };
        return std::move(**document);
    }
    // Moves the file to "<name>.corrupt", replacing an older one; false when that failed.
    bool setAside() const;
    // Creates the folder and replaces the file; the error names the file.
    std::optional<Error> write(std::string_view bytes) const;
    // Removes the file; a failure is of no interest to anyone.
    void remove() const;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path sidecarPath() const;

private:
    std::string m_fileName;
    std::filesystem::path m_path;
    FileWriting& m_writer;
};

// A document that is a list of records with ids, which can be written a record at a time.
template <typename Document>
concept RecordList = requires(const Document& list)
{
    list.front().id;
    toJSON(list.front());
};

// The one reader and writer of a JSON document: keeps the last value in memory, serialises every
// call, writes atomically, and moves an undecodable file aside instead of overwriting it. Any
// thread may call it; each call blocks until it is done.
template <typename Document> class JSONFileStore {
public:
    // Touches no file. Without a directory, the document lives in Paths::supportDirectory().
    explicit JSONFileStore(std::string fileName,
        std::optional<std::filesystem::path> directory = std::nullopt,
        FileWriting& writer = atomicFileWriter())
        : m_file(std::move(fileName), std::move(directory), writer)
    {
    }
    JSONFileStore(const JSONFileStore&) = delete;
    JSONFileStore& operator=(const JSONFileStore&) = delete;

    // Reads the file once; from then on answers from memory. Nothing for a missing, unreadable or
    // undecodable file; the undecodable one is moved to "<name>.corrupt" and sets lastError.
    std::optional<Document> load()
    {
        std::lock_guard lock(m_queue);
        return loadOnQueue();
    }

    // Reads the file again, for another process may have changed it, as `load` reads it the first
    // time. Bytes that are the ones this store last read or wrote are not decoded again: a process
    // that changes a long document over and over (an agent's helper) then pays for reading it only
    // when someone else wrote it. From the first call on, the store keeps the document's text, and
    // in a list of records each record's text, so that saving the list again writes the records
    // that did not change with the bytes they had.
    std::optional<Document> reload()
    {
        std::lock_guard lock(m_queue);
        m_keepsText = true;
        auto contents = m_file.read();
        if (m_text && contents.found == DocumentFile::Found::bytes && contents.bytes == *m_text) {
            setLastError(std::nullopt);
            return m_cached;
        }
        return take(std::move(contents));
    }

    // Never throws: a failure shows only in lastError, with the value kept in memory all the same
    // and the previous file intact.
    void save(const Document& value)
    {
        std::lock_guard lock(m_queue);
        // A store that has not looked at its file yet does so first, so that a file it could not
        // read or decode is moved aside before anything replaces it.
        if (!m_hasLoaded)
            loadOnQueue();
        auto text = encodeOnQueue(value);
        m_cached = value;
        m_text.reset();
        if (!text)
            return setLastError(Error { m_file.path().string() + ": " + text.error().message });
        if (m_mustSetAside) {
            if (!m_file.setAside())
                return setLastError(Error { m_file.path().string()
                    + " could not be moved aside to its .corrupt copy, so it was not "
                      "overwritten." });
            m_mustSetAside = false;
        }
        auto error = m_file.write(*text);
        if (!error && m_keepsText)
            m_text = std::move(*text);
        setLastError(std::move(error));
    }

    // Forgets the value and removes the file; a failed removal is ignored.
    void clear()
    {
        std::lock_guard lock(m_queue);
        m_cached.reset();
        m_text.reset();
        m_recordTexts.clear();
        m_hasLoaded = true;
        m_mustSetAside = false;
        m_file.remove();
    }

    // Readable from any thread without waiting for a call in progress.
    std::optional<Error> lastError() const
    {
        std::lock_guard lock(m_errorLock);
        return m_lastError;
    }

    const std::filesystem::path& fileURL() const { return m_file.path(); }

private:
    // The text of `value`. Once the store keeps its text, a list of records also keeps each
    // record's text, and saving the list again encodes only the records that changed.
    Result<std::string> encodeOnQueue(const Document& value)
    {
        if constexpr (RecordList<Document>) {
            if (m_keepsText) {
                auto texts = recordTexts(value);
                if (!texts) {
                    m_recordTexts.clear();
                    return texts.error();
                }
                m_recordTexts = std::move(*texts);
                return Json::arrayDocumentText(m_recordTexts);
            }
        }
        return encodeDocument(value);
    }

    template <typename List> Result<std::vector<std::string>> recordTexts(const List& records)
    {
        std::unordered_map<std::string_view, std::size_t> kept;
        if (m_cached && m_recordTexts.size() == m_cached->size()) {
            for (std::size_t index = 0; index < m_recordTexts.size(); ++index)
                kept.emplace((*m_cached)[index].id, index);
        }
        std::vector<std::string> texts;
        texts.reserve(records.size());
        for (auto& record : records) {
            if (auto found = kept.find(record.id);
                found != kept.end() && (*m_cached)[found->second] == record) {
                texts.push_back(m_recordTexts[found->second]);
                continue;
            }
            auto text = Json::elementText(toJSON(record));
            if (!text)
                return text.error();
            texts.push_back(std::move(*text));
        }
        return texts;
    }

    std::optional<Document> loadOnQueue()
    {
        if (m_hasLoaded)
            return m_cached;
        return take(m_file.read());
    }

    std::optional<Document> take(DocumentFile::Contents contents)
    {
        m_hasLoaded = true;
        auto known = std::exchange(m_cached, std::nullopt);
        auto knownTexts = std::exchange(m_recordTexts, {});
        m_text.reset();
        m_mustSetAside = contents.found == DocumentFile::Found::unreadable;
        setLastError(std::nullopt);
        if (contents.found != DocumentFile::Found::bytes)
            return std::nullopt;
        auto document = decodeTaking(contents.bytes, known, knownTexts);
        if (document) {
            m_cached = std::move(*document);
            if (m_keepsText)
                m_text = std::move(contents.bytes);
            return m_cached;
        }
        setLastError(document.error());
        m_mustSetAside = !m_file.setAside();
        return std::nullopt;
    }

    // A list of records read by a store that keeps texts is read with the records it had, which
    // another writer most often left as they were, and keeps each record's text.
    Result<Document> decodeTaking(std::string_view bytes, std::optional<Document>& known,
        const std::vector<std::string>& knownTexts)
    {
        if constexpr (RecordList<Document>) {
            if (m_keepsText) {
                Json::RecordTexts<typename Document::value_type> recordTexts {
                    .known = known ? &*known : nullptr, .knownTexts = &knownTexts
                };
                auto document = m_file.decode<Document>(bytes, &recordTexts);
                // Another writer's formatting of a record, if it had its own, stays until the
                // record changes: it decodes to the same record all the same.
                if (document && recordTexts.texts.size() == document->size())
                    m_recordTexts.assign(recordTexts.texts.begin(), recordTexts.texts.end());
                return document;
            }
        }
        return m_file.decode<Document>(bytes);
    }

    void setLastError(std::optional<Error> error)
    {
        std::lock_guard lock(m_errorLock);
        m_lastError = std::move(error);
    }

    DocumentFile m_file;
    std::mutex m_queue;
    std::optional<Document> m_cached;
    // The bytes that hold m_cached, as last read or written, once reload has been called.
    std::optional<std::string> m_text;
    // The text of each record of m_cached, when it is a list of records that was read or saved.
    std::vector<std::string> m_recordTexts;
    bool m_keepsText = false;
    bool m_hasLoaded = false;
    // The file on disk holds bytes that could not be read or decoded and is still in its place.
    bool m_mustSetAside = false;
    mutable std::mutex m_errorLock;
    std::optional<Error> m_lastError;
};

// Reads and decodes a document without keeping it, taking a lock or changing any file: a reader
// that does not own the document must not set it aside. Nothing for a missing file; an error names
// an unreadable or undecodable one.
template <typename Document>
Result<std::optional<Document>> peekDocument(
    const std::filesystem::path& directory, std::string fileName)
{
    DocumentFile file(std::move(fileName), directory, atomicFileWriter());
    auto contents = file.read();
    if (contents.found == DocumentFile::Found::nothing)
        return std::optional<Document> {};
    if (contents.found == DocumentFile::Found::unreadable)
        return Error { file.path().string() + " could not be read." };
    auto document = file.decode<Document>(contents.bytes);
    if (!document)
        return document.error();
    return std::optional<Document>(std::move(*document));
}

template <typename Document> struct LockedChange {
    Document document {};
    // Set when the file could not be decoded and was moved aside: the change started from the
    // fallback.
    std::optional<Error> loadError {};
};

// Reads a document afresh while holding the data folder's ".agent.lock", lets `change` edit it and
// saves it when `change` returns true, so that processes sharing the folder never lose each other's
// changes. A missing or undecodable document starts as `fallback`.
template <typename Document, typename Change>
Result<LockedChange<Document>> changeDocument(const std::filesystem::path& directory,
    std::string fileName, Document fallback, Change&& change,
    FileWriting& writer = atomicFileWriter())
{
    std::error_code ignored;
    std::filesystem::create_directories(directory, ignored);
    auto lock = FileLock::acquire(directory / Paths::agentLockFile);
    if (!lock)
        return lock.error();
    JSONFileStore<Document> store(std::move(fileName), directory, writer);
    LockedChange<Document> result { .document = store.load().value_or(std::move(fallback)),
        .loadError = store.lastError() };
    if (!change(result.document))
        return result;
    store.save(result.document);
    if (auto error = store.lastError())
        return *error;
    return result;
}

} // namespace zeph
