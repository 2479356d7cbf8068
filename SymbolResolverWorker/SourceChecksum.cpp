#include "SymbolResolverWorker/SourceChecksum.h"

#include <algorithm>
#include <array>

#include <nettle/md5.h>
#include <nettle/sha1.h>
#include <nettle/sha2.h>

#include "SymbolResolverWorker/ImageFile.h"
#include "Utility/Result.h"

namespace Symbols
{

namespace
{

constexpr uint64_t cLargestSource = 64 << 20;

template <auto Init, auto Update, auto Digest, std::size_t Size, class Context>
std::vector<std::byte> Hash(const std::vector<std::byte>& bytes)
{
    Context context;
    std::array<uint8_t, Size> digest;
    Init(&context);
    Update(&context, bytes.size(), reinterpret_cast<const uint8_t*>(bytes.data()));
    Digest(&context, digest.size(), digest.data());
    const auto hash = std::as_bytes(std::span{digest});
    return {hash.begin(), hash.end()};
}

std::vector<std::byte> MakeHash(SourceChecksum::EKind kind, const std::vector<std::byte>& bytes)
{
    switch (kind)
    {
    case SourceChecksum::EKind::MD5:
        return Hash<nettle_md5_init, nettle_md5_update, nettle_md5_digest, MD5_DIGEST_SIZE, md5_ctx>(bytes);
    case SourceChecksum::EKind::SHA1:
        return Hash<nettle_sha1_init, nettle_sha1_update, nettle_sha1_digest, SHA1_DIGEST_SIZE, sha1_ctx>(bytes);
    case SourceChecksum::EKind::SHA256:
        return Hash<nettle_sha256_init, nettle_sha256_update, nettle_sha256_digest, SHA256_DIGEST_SIZE, sha256_ctx>(
            bytes);
    case SourceChecksum::EKind::None:
        break;
    }
    return {};
}

}

ESourceFile gCompareSource(const std::string& path, const SourceChecksum& checksum)
{
    Utility::Result result;
    ImageFile file;
    std::vector<std::byte> bytes;
    if (!file.Open(path, result))
        return ESourceFile::Missing;
    if (checksum.mKind == SourceChecksum::EKind::None || file.GetSize() > cLargestSource)
        return ESourceFile::Matched;
    if (!file.Read(0, file.GetSize(), bytes, result))
        return ESourceFile::Missing;
    const std::vector<std::byte> hash = MakeHash(checksum.mKind, bytes);
    // A damaged checksum says nothing.
    const bool isOther = hash.size() == checksum.mBytes.size() && hash != checksum.mBytes;
    return isOther ? ESourceFile::Unmatched : ESourceFile::Matched;
}

}
