#include "vexil/s3/S3TransferManager.h"

#include "sigil/Digest.h"
#include "sigil/Hex.h"
#include "vexil/net/UploadArguments.h"
#include "vexil/s3/S3Arguments.h"
#include "vexil/s3/S3ChecksumValue.h"
#include "vexil/s3/S3PartSize.h"
#include "vexil/s3/S3ResumeToken.h"
#include "vexil/s3/S3Upload.h"
#include "zet/FileInStream.h"
#include "zet/MemoryInStream.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vexil {

namespace {

constexpr int readSize = 1 << 16;

struct CRange {
    int number;
    int64 offset;
    int64 size;
};

void checkSettings(const char* place, const CS3TransferSettings& settings) {
    CS3TransferControl::check(place, settings, minUploadPartSize, CS3Client::maxPutSize);
}

/// The options of an object of known size.
CS3PutOptions makeOptions(const char* place, const CS3TransferSettings& settings,
                          const CS3PutOptions& options, int64 partSize, int64 objectSize) {
    return settings.storesPartSize ? addPartSize(place, options, partSize, objectSize) : options;
}

/// The parts of an object of known size.
TArray<CRange> splitIntoParts(int64 size, int64 partSize) {
    TArray<CRange> parts;
    for (int64 offset = 0; offset < size; offset += partSize) {
        parts.push_back({static_cast<int>(parts.size()) + 1, offset, std::min(partSize, size - offset)});
    }
    return parts;
}

// ---- parts that the service has --------------------------------------------------------------------------

/// Compares the parts of an upload with those of the file.
class CLocalParts {
public:
    CLocalParts(CS3Upload& upload, zet::CFileInStream& file, TArray<CRange> ranges)
        : m_upload(upload), m_file(file), m_ranges(std::move(ranges)) {}

    /// Adds the stored parts that are equal to the file.
    void addEqual(const TArray<CS3StoredPart>& storedParts) const {
        for (const CS3StoredPart& stored : storedParts) {
            if (stored.number > static_cast<int>(m_ranges.size())) {
                continue;
            }
            const CRange& range = m_ranges[static_cast<std::size_t>(stored.number) - 1];
            if (stored.size != range.size) {
                continue;
            }
            CS3Upload::CContent content = calcContent(range);
            content.eTag = stored.eTag;
            const String storedChecksum = findStoredChecksum(stored);
            const String digits = stored.eTag.toLower();
            const bool hasMD5 = digits == content.md5 || digits == "\"" + content.md5 + "\"";
            if (storedChecksum.isEmpty() ? hasMD5 : storedChecksum == content.checksum) {
                content.storedChecksum = storedChecksum;
                content.md5 = hasMD5 ? content.md5 : String();
                m_upload.addPart(range.number, range.size, content);
            }
        }
    }
    /// Adds all parts of the file.
    void addAll() const {
        for (const CRange& range : m_ranges) {
            CS3Upload::CContent content = calcContent(range);
            content.eTag = content.md5;
            m_upload.addPart(range.number, range.size, content);
        }
    }

private:
    String findStoredChecksum(const CS3StoredPart& stored) const {
        const S3Checksum checksum = m_upload.getChecksum();
        return checksum == S3Checksum::CRC32C   ? stored.checksumCRC32C
               : checksum == S3Checksum::SHA256 ? stored.checksumSHA256
                                                : String();
    }
    /// MD5 and checksum of a range.
    CS3Upload::CContent calcContent(const CRange& range) const {
        const P<sigil::IDigest> digest = sigil::CDigestType_MD5().createDigest();
        const P<sigil::IDigest> checksum = createChecksumDigest(m_upload.getChecksum());
        std::array<unsigned char, readSize> bytes;
        m_file.seek(range.offset);
        for (int64 left = range.size; left > 0;) {
            m_upload.checkContinue();
            const int length = m_file.read(bytes.data(), static_cast<int>(std::min<int64>(left, readSize)));
            if (length == 0) {
                throw CError("The file has become shorter.");
            }
            digest->update(bytes.data(), length);
            if (checksum) {
                checksum->update(bytes.data(), length);
            }
            left -= length;
        }
        TBuffer<unsigned char> hash;
        digest->finish(hash);
        return {String(), sigil::hexEncode(hash), checksum ? finishChecksum(*checksum) : String(), String()};
    }

    CS3Upload& m_upload;
    zet::CFileInStream& m_file;
    const TArray<CRange> m_ranges;
};

// ---- streams of unknown length ---------------------------------------------------------------------------

/// Cuts a stream into parts in memory. It reads one byte ahead, so that the last part is known.
class CPartReader {
public:
    CPartReader(zet::IInStream& stream, const CS3Upload& upload) : m_stream(stream), m_upload(upload) {}

    /// The next bytes, less than `size` only at the end of the stream.
    P<TBuffer<unsigned char>> read(int size) {
        const P<TBuffer<unsigned char>> part = zet::make<TBuffer<unsigned char>>(size);
        int used = 0;
        if (m_isAhead && size > 0) {
            part->getData()[used++] = m_next;
        }
        m_isAhead = false;
        while (const int length = readSome(part->getData() + used, size - used)) {
            used += length;
        }
        part->setUsed(used);
        m_isAhead = used == size && readSome(&m_next, 1) == 1;
        return part;
    }
    bool hasMore() const noexcept { return m_isAhead; }

private:
    int readSome(unsigned char* data, int size) {
        const int wanted = std::min(size, readSize);
        if (wanted == 0) {
            return 0;
        }
        m_upload.checkContinue();
        const int length = m_stream.read(data, wanted);
        if (length < 0 || length > wanted) {
            throw CError("The stream returned " + String::fromInt(length) + " bytes where 0 to " +
                         String::fromInt(wanted) + " were asked for.");
        }
        return length;
    }

    zet::IInStream& m_stream;
    const CS3Upload& m_upload;
    unsigned char m_next = 0;
    bool m_isAhead = false;
};

CS3Upload::Open openMemory(const P<TBuffer<unsigned char>>& bytes) {
    /// Keeps the memory as long as the stream.
    class CHeldStream : public zet::CMemoryInStream {
    public:
        explicit CHeldStream(const P<TBuffer<unsigned char>>& data)
            : CMemoryInStream(std::as_const(*data).getData(), data->getUsed()), m_data(data) {}

    private:
        const P<TBuffer<unsigned char>> m_data;
    };
    return [bytes] { return P<zet::IInStream>(zet::make<CHeldStream>(bytes)); };
}

/// Sends a stream of unknown length, whose first part has been read.
class CStreamParts {
public:
    CStreamParts(CS3Upload& upload, CPartReader& reader, int64 partSize, int parallelParts)
        : m_upload(upload), m_reader(reader), m_partSize(partSize), m_memory(partSize * parallelParts) {}

    void send(P<TBuffer<unsigned char>> part) {
        for (int number = 1;; ++number) {
            if (number > maxPartNumber) {
                throw CError("The stream needs more than " + String::fromInt(maxPartNumber) + " parts.");
            }
            m_upload.sendPart(number, part->getUsed(), openMemory(part));
            part = nullptr;
            if (!m_reader.hasMore()) {
                return;
            }
            const int64 size = getGrowingPartSize(m_partSize, number + 1);
            m_upload.setParallelParts(static_cast<int>(m_memory / size));
            part = m_reader.read(static_cast<int>(size));
        }
    }

private:
    CS3Upload& m_upload;
    CPartReader& m_reader;
    const int64 m_partSize;
    const int64 m_memory;
};

}  // namespace

// ---- uploads ---------------------------------------------------------------------------------------------

CS3TransferManager::CS3TransferManager(const CS3Client& client, CS3TransferSettings settings)
    : m_client(client), m_settings(std::move(settings)) {
    // The uploads compare the ETags themselves, if at all.
    m_client.setVerifyETag(false);
    if (!m_settings.verifiesETags) {
        m_client.setUploadCheck(S3UploadCheck::BeforeSending);
    } else if (m_settings.uploadCheck) {
        m_client.setUploadCheck(*m_settings.uploadCheck);
    } else {
        m_choosesUploadCheck = m_client.getBaseURL().startsWithNoCase("https:");
    }
}

CS3TransferManager::~CS3TransferManager() = default;

void CS3TransferManager::chooseUploadCheck(const CS3PutOptions& options) {
    if (m_choosesUploadCheck) {
        const bool hasLock = options.lockMode != S3ObjectLockMode::None || options.hasLegalHold;
        // Without a trailer the service could not refuse other content.
        const bool needsHeader =
            hasLock || (options.checksum != S3Checksum::None && !m_client.sendsChecksumTrailers());
        m_client.setUploadCheck(needsHeader ? S3UploadCheck::BeforeSending : S3UploadCheck::WhileSending);
    }
}

CS3UploadResult CS3TransferManager::uploadFile(const std::filesystem::path& path, const String& bucket,
                                               const String& key, const CS3PutOptions& options) {
    static constexpr char place[] = "CS3TransferManager::uploadFile";
    checkNames(place, bucket, key);
    checkSettings(place, m_settings);
    const int64 modified = getFileTime(path);
    const P<zet::CFileInStream> file = zet::make<zet::CFileInStream>(path);
    const int64 size = file->getSize();
    const int64 partSize = choosePartSize(m_settings.partSize, size);
    chooseUploadCheck(options);
    CS3Upload upload(m_client, m_settings,
                     {bucket, key, makeOptions(place, m_settings, options, partSize, size)}, size);
    if (size <= partSize) {
        const CS3UploadResult result =
            upload.storeWhole(size, [&path, size] { return openFileRange(path, 0, size); });
        file->checkUnchanged();
        return result;
    }
    return storeResumable(upload,
                          {.bucket = bucket,
                           .key = key,
                           .uploadId = String(),
                           .partSize = partSize,
                           .size = size,
                           .modified = modified,
                           .checksum = options.checksum},
                          path, *file);
}

CS3UploadResult CS3TransferManager::upload(zet::IInStream* data, int64 size, const String& bucket,
                                           const String& key, const CS3PutOptions& options) {
    static constexpr char place[] = "CS3TransferManager::upload";
    const P<zet::IInStream> held = data;
    checkNames(place, bucket, key);
    checkUploadStream(place, data, size);
    checkSettings(place, m_settings);
    const int64 partSize = choosePartSize(m_settings.partSize, size);
    const P<CS3SharedSource> source = zet::make<CS3SharedSource>(data);
    chooseUploadCheck(options);
    CS3Upload upload(m_client, m_settings,
                     {bucket, key, makeOptions(place, m_settings, options, partSize, size)}, size);
    if (size <= partSize) {
        return upload.storeWhole(size, [&source, size] { return openSharedRange(source, 0, size); });
    }
    return upload.storeInParts([&] {
        for (const CRange& part : splitIntoParts(size, partSize)) {
            upload.sendPart(part.number, part.size,
                            [&source, part] { return openSharedRange(source, part.offset, part.size); });
        }
    });
}

CS3UploadResult CS3TransferManager::uploadStream(zet::IInStream* data, const String& bucket,
                                                 const String& key, const CS3PutOptions& options) {
    static constexpr char place[] = "CS3TransferManager::uploadStream";
    const P<zet::IInStream> held = data;
    checkNames(place, bucket, key);
    checkUploadStream(place, data, 0);
    checkSettings(place, m_settings);
    if (m_settings.partSize > maxMemoryPartSize) {
        throw CInvalidArgError(place, "partSize must not exceed " + String::fromInt(maxMemoryPartSize) +
                                          " for a stream, whose parts are kept in memory");
    }
    const int64 partSize = choosePartSize(m_settings.partSize, 0);
    chooseUploadCheck(options);
    CS3Upload upload(m_client, m_settings, {bucket, key, options}, -1);
    CPartReader reader(*data, upload);
    P<TBuffer<unsigned char>> first = reader.read(static_cast<int>(partSize));
    if (!reader.hasMore()) {
        return upload.storeWhole(first->getUsed(), openMemory(first));
    }
    CStreamParts parts(upload, reader, partSize, m_settings.parallelParts);
    return upload.storeInParts([&] { parts.send(std::move(first)); });
}

// ---- resumption ------------------------------------------------------------------------------------------

CS3UploadResult CS3TransferManager::storeResumable(CS3Upload& upload, const CS3ResumeToken& token,
                                                   const std::filesystem::path& path,
                                                   const zet::CFileInStream& file) {
    m_resumeToken = String();
    upload.keepParts(m_settings.keepsForResume);
    upload.setBegunHandler([&](const String& uploadId) {
        CS3ResumeToken begun = token;
        begun.uploadId = uploadId;
        m_resumeToken = m_settings.keepsForResume ? begun.toText() : String();
        if (m_settings.observer) {
            m_settings.observer->onUploadBegun(begun.toText());
        }
    });
    const CS3UploadResult result = upload.storeInParts([&] {
        for (const CRange& part : splitIntoParts(token.size, token.partSize)) {
            if (!upload.hasPart(part.number)) {
                upload.sendPart(part.number, part.size,
                                [&path, part] { return openFileRange(path, part.offset, part.size); });
            }
        }
        upload.finishParts();
        if (file.hasChanged()) {
            // Nothing could be done with the parts.
            upload.keepParts(false);
            m_resumeToken = String();
        }
        file.checkUnchanged();
    });
    m_resumeToken = String();
    return result;
}

CS3UploadResult CS3TransferManager::resumeUpload(const String& resumeToken, const std::filesystem::path& path,
                                                 const CS3PutOptions& givenOptions) {
    static constexpr char place[] = "CS3TransferManager::resumeUpload";
    checkSettings(place, m_settings);
    const CS3ResumeToken token = CS3ResumeToken::parse(place, resumeToken);
    const int64 modified = getFileTime(path);
    const P<zet::CFileInStream> file = zet::make<zet::CFileInStream>(path);
    if (file->getSize() != token.size || modified != token.modified) {
        CError error("The file has changed since its upload began, which cannot be resumed.");
        error.setKind(ErrorKind::Conflict);
        throw error;
    }
    CS3PutOptions options = givenOptions;
    options.checksum = token.checksum;
    chooseUploadCheck(options);
    CS3Upload upload(m_client, m_settings, {token.bucket, token.key, options}, token.size);
    const CLocalParts parts(upload, *file, splitIntoParts(token.size, token.partSize));
    CNetRequest request;
    request.setCancelToken(m_settings.cancelToken);
    try {
        parts.addEqual(m_client.listAllParts(request, token.bucket, token.key, token.uploadId));
    } catch (const CError& error) {
        if (!CS3Client::isNotFoundError(error)) {
            throw;
        }
        // The process may have ended after the object was made.
        parts.addAll();
        const String eTag = upload.findStoredETag();
        if (eTag.isEmpty()) {
            throw;
        }
        return upload.makeResult(eTag);
    }
    upload.resume(token.uploadId);
    return storeResumable(upload, token, path, *file);
}

void CS3TransferManager::discardUpload(const String& resumeToken) {
    static constexpr char place[] = "CS3TransferManager::discardUpload";
    checkSettings(place, m_settings);
    const CS3ResumeToken token = CS3ResumeToken::parse(place, resumeToken);
    CNetRequest request;
    request.setCancelToken(m_settings.cancelToken);
    try {
        m_client.abortMultipartUpload(request, token.bucket, token.key, token.uploadId);
    } catch (const CError& error) {
        if (!CS3Client::isNotFoundError(error)) {
            throw;
        }
    }
    if (m_resumeToken == resumeToken) {
        m_resumeToken = String();
    }
}

}  // namespace vexil
