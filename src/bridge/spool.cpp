// Records in a row of segment files.
//
// A record is the length of its text and the CRC-32 of it, 4 bytes each with the lowest first, and
// the text. Records are only ever added behind the last one, and a whole file is removed when all
// of its records have been removed or dropped; so nothing is rewritten, which flash memory would
// suffer from. The file "position" says where the oldest record is, as "SEGMENT OFFSET"; it is
// written beside itself and renamed, at most every ten seconds.
//
// A program that is killed may leave half a record at the end of the newest file. It ends what is
// read of that file, and the next program begins a new one.

#include "bridge/spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace vantry::bridge {
namespace {

constexpr std::size_t kHead = 8;
constexpr std::size_t kSegments = 16;
constexpr std::size_t kLeastSegment = 4096;
constexpr std::uint32_t kLongest = 16U << 20U;

constexpr std::array<std::uint32_t, 256> MakeTable() {
    constexpr std::uint32_t kPolynomial = 0xEDB88320;
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t index = 0; index < table.size(); ++index) {
        std::uint32_t value = index;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value >> 1U) ^ ((value & 1U) != 0 ? kPolynomial : 0);
        }
        table[index] = value;
    }
    return table;
}

std::uint32_t Crc32(const char* text, std::size_t length) {
    static constexpr std::array<std::uint32_t, 256> kTable = MakeTable();
    std::uint32_t value = ~std::uint32_t{0};
    for (std::size_t index = 0; index < length; ++index) {
        value = kTable[(value ^ static_cast<unsigned char>(text[index])) & 0xFFU] ^ (value >> 8U);
    }
    return ~value;
}

void Put(std::string& text, std::uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
        text += static_cast<char>(value >> shift);
    }
}

std::uint32_t Get(const char* text) {
    std::uint32_t value = 0;
    for (unsigned index = 0; index < 4; ++index) {
        value |= std::uint32_t{static_cast<unsigned char>(text[index])} << (8 * index);
    }
    return value;
}

/// Returns the text of the whole record at this place of the file, or nothing if there is none.
std::optional<std::string> ReadRecord(int file, std::uint64_t offset) {
    std::array<char, kHead> head{};
    if (pread(file, head.data(), kHead, static_cast<off_t>(offset)) !=
        static_cast<ssize_t>(kHead)) {
        return std::nullopt;
    }
    const std::uint32_t length = Get(head.data());
    if (length > kLongest) {
        return std::nullopt;
    }
    std::string text(length, '\0');
    const ssize_t got = pread(file, text.data(), length, static_cast<off_t>(offset + kHead));
    if (got != static_cast<ssize_t>(length) || Crc32(text.data(), length) != Get(head.data() + 4)) {
        return std::nullopt;
    }
    return text;
}

}  // namespace

Spool::Spool(std::filesystem::path place, std::size_t mostBytes)
    : folder(std::move(place)), most(mostBytes) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    OpenSegments();
    ReadPosition();
}

Spool::~Spool() {
    Sync();
    if (writing >= 0) {
        close(writing);
    }
}

std::filesystem::path Spool::NameOf(std::uint64_t segment) const {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "%012llu.seg",
                  static_cast<unsigned long long>(segment));
    return folder / name.data();
}

void Spool::OpenSegments() {
    std::error_code error;
    std::vector<std::uint64_t> numbers;
    for (const auto& file : std::filesystem::directory_iterator(folder, error)) {
        if (file.path().extension() == ".seg") {
            numbers.push_back(std::strtoull(file.path().stem().c_str(), nullptr, 10));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    for (const std::uint64_t number : numbers) {
        Segment segment{number, 0, 0};
        const int file = open(NameOf(number).c_str(), O_RDONLY | O_CLOEXEC);
        while (const auto record = file < 0 ? std::nullopt : ReadRecord(file, segment.bytes)) {
            segment.bytes += kHead + record->size();
            ++segment.records;
        }
        if (file >= 0) {
            close(file);
        }
        bytes += segment.bytes;
        count += segment.records;
        segments.push_back(segment);
    }
}

void Spool::ReadPosition() {
    std::ifstream file(folder / "position");
    std::uint64_t number = 0;
    std::uint64_t offset = 0;
    if (!(file >> number >> offset)) {
        return;
    }
    while (!segments.empty() && segments.front().number < number) {
        position = segments.front().bytes;
        count -= segments.front().records;
        segments.front().records = 0;
        RemoveRead();
        if (segments.size() == 1 && segments.front().number < number) {
            return;
        }
    }
    while (!segments.empty() && segments.front().number == number && position < offset && Front()) {
        Pop();
    }
}

bool Spool::BeginSegment() {
    Sync();
    if (writing >= 0) {
        close(writing);
    }
    const std::uint64_t number = segments.empty() ? 1 : segments.back().number + 1;
    writing = open(NameOf(number).c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_EXCL,
                   S_IRUSR | S_IWUSR | S_IRGRP);
    if (writing >= 0) {
        segments.push_back({number, 0, 0});
    }
    return writing >= 0;
}

void Spool::Append(const std::string& record) {
    const std::size_t size = kHead + record.size();
    const std::size_t segmentSize = std::max(kLeastSegment, most / kSegments);
    if (writing < 0 || segments.back().bytes + size > segmentSize) {
        if (!BeginSegment()) {
            ++dropped;
            return;
        }
        RemoveRead();
    }
    while (segments.size() > 1 && bytes + size > most) {
        DropOldest();
    }
    std::string whole;
    whole.reserve(size);
    Put(whole, static_cast<std::uint32_t>(record.size()));
    Put(whole, Crc32(record.data(), record.size()));
    whole += record;
    if (write(writing, whole.data(), size) != static_cast<ssize_t>(size)) {
        // The disk is full. What was written of the record must not stand before the next one.
        static_cast<void>(!ftruncate(writing, static_cast<off_t>(segments.back().bytes)));
        ++dropped;
        return;
    }
    isUnsynced = true;
    segments.back().bytes += size;
    ++segments.back().records;
    bytes += size;
    ++count;
}

void Spool::DropOldest() {
    const Segment& oldest = segments.front();
    dropped += oldest.records;
    count -= oldest.records;
    bytes -= oldest.bytes;
    std::error_code error;
    std::filesystem::remove(NameOf(oldest.number), error);
    segments.pop_front();
    position = 0;
}

void Spool::RemoveRead() {
    while (segments.size() > 1 && segments.front().records == 0) {
        DropOldest();
    }
}

std::optional<std::string> Spool::Front() {
    RemoveRead();
    if (count == 0) {
        return std::nullopt;
    }
    const int file = open(NameOf(segments.front().number).c_str(), O_RDONLY | O_CLOEXEC);
    auto record = file < 0 ? std::nullopt : ReadRecord(file, position);
    if (file >= 0) {
        close(file);
    }
    if (!record) {
        // The file was damaged while the program ran: the rest of it is lost.
        dropped += segments.front().records;
        count -= segments.front().records;
        segments.front().records = 0;
        return segments.size() > 1 ? Front() : std::nullopt;
    }
    return record;
}

void Spool::Pop() {
    const std::optional<std::string> record = Front();
    if (!record) {
        return;
    }
    position += kHead + record->size();
    --segments.front().records;
    --count;
    isUnsynced = true;
    RemoveRead();
}

void Spool::Sync() {
    if (!isUnsynced) {
        return;
    }
    isUnsynced = false;
    if (writing >= 0) {
        fdatasync(writing);
    }
    if (segments.empty()) {
        return;
    }
    const std::filesystem::path fresh = folder / "position.new";
    {
        std::ofstream file(fresh);
        file << segments.front().number << ' ' << position << '\n';
    }
    std::error_code error;
    std::filesystem::rename(fresh, folder / "position", error);
}

}  // namespace vantry::bridge
