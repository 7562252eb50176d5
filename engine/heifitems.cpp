#include "heifitems.h"

#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace dravik {
namespace {

// Big-endian fields of one box; a read past its end marks the reader failed instead.
class Reader {
public:
    Reader(const Bytes &b, std::size_t at, std::size_t end) : b_(b), at_(at), end_(end) {}
    bool ok() const { return ok_; }
    std::size_t at() const { return at_; }

    std::uint64_t uint(int bytes)
    {
        if (!ok_ || bytes < 0 || bytes > 8 || end_ - at_ < std::size_t(bytes)) {
            ok_ = false;
            return 0;
        }
        std::uint64_t v = 0;
        for (int i = 0; i < bytes; ++i)
            v = (v << 8) | b_[at_ + std::size_t(i)];
        at_ += std::size_t(bytes);
        return v;
    }
    std::string fourcc()
    {
        if (!ok_ || end_ - at_ < 4) {
            ok_ = false;
            return {};
        }
        std::string s(reinterpret_cast<const char *>(&b_[at_]), 4);
        at_ += 4;
        return s;
    }
    std::string text() // NUL-terminated
    {
        std::string s;
        while (ok_ && at_ < end_ && b_[at_] != 0)
            s.push_back(char(b_[at_++]));
        if (at_ >= end_)
            ok_ = false;
        else
            ++at_;
        return s;
    }

private:
    const Bytes &b_;
    std::size_t at_, end_;
    bool ok_ = true;
};

void put(Bytes &out, std::uint64_t value, int bytes)
{
    for (int i = bytes - 1; i >= 0; --i)
        out.push_back(static_cast<unsigned char>(value >> (8 * i)));
}

bool fits(std::uint64_t value, int bytes) { return bytes >= 8 || value < (std::uint64_t(1) << (8 * bytes)); }

struct Box {
    std::string type;
    std::size_t at = 0;
    std::size_t header = 8; // 16 with a 64-bit size
    std::size_t size = 0;   // header and payload
    bool toEnd = false;     // its size field was 0: it runs to the end of its parent
    std::size_t payload() const { return at + header; }
    std::size_t end() const { return at + size; }
};

std::optional<std::vector<Box>> boxesIn(const Bytes &b, std::size_t at, std::size_t end)
{
    std::vector<Box> boxes;
    while (at < end) {
        Reader r(b, at, end);
        Box box;
        box.at = at;
        std::uint64_t size = r.uint(4);
        box.type = r.fourcc();
        if (size == 1) {
            size = r.uint(8);
            box.header = 16;
        } else if (size == 0) {
            size = end - at;
            box.toEnd = true;
        }
        if (!r.ok() || size < box.header || size > end - at)
            return std::nullopt;
        box.size = std::size_t(size);
        boxes.push_back(box);
        at += box.size;
    }
    return boxes;
}

void putType(Bytes &out, const std::string &type)
{
    // One character at a time: GCC 12 misreads a range insert from a string as an overflow.
    for (std::size_t i = 0; i < 4; ++i)
        out.push_back(static_cast<unsigned char>(i < type.size() ? type[i] : ' '));
}

Bytes boxOf(const std::string &type, const Bytes &payload)
{
    Bytes out;
    out.reserve(8 + payload.size());
    put(out, 8 + payload.size(), 4);
    putType(out, type);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

Bytes slice(const Bytes &b, std::size_t from, std::size_t to)
{
    return Bytes(b.begin() + std::ptrdiff_t(from), b.begin() + std::ptrdiff_t(to));
}

struct Extent {
    std::uint64_t index = 0, offset = 0, length = 0;
};

struct Location {
    std::uint32_t id = 0;
    int method = 0; // 0: in the file, 1: in idat, 2: in another item
    std::uint64_t dataRef = 0;
    std::uint64_t base = 0;
    std::vector<Extent> extents;
};

struct Locations {
    int version = 0;
    std::uint64_t flags = 0;
    int offsetSize = 0, lengthSize = 0, baseSize = 0, indexSize = 0;
    std::vector<Location> items;
};

std::optional<Locations> readIloc(const Bytes &b, const Box &box)
{
    Reader r(b, box.payload(), box.end());
    Locations l;
    l.version = int(r.uint(1));
    l.flags = r.uint(3);
    const std::uint64_t sizes = r.uint(2);
    l.offsetSize = int(sizes >> 12) & 15;
    l.lengthSize = int(sizes >> 8) & 15;
    l.baseSize = int(sizes >> 4) & 15;
    l.indexSize = l.version >= 1 ? int(sizes & 15) : 0;
    for (int s : {l.offsetSize, l.lengthSize, l.baseSize, l.indexSize})
        if (s != 0 && s != 4 && s != 8)
            return std::nullopt;
    if (l.version > 2)
        return std::nullopt;
    const int idSize = l.version < 2 ? 2 : 4;
    const std::uint64_t count = r.uint(idSize);
    for (std::uint64_t i = 0; i < count && r.ok(); ++i) {
        Location item;
        item.id = std::uint32_t(r.uint(idSize));
        if (l.version >= 1)
            item.method = int(r.uint(2) & 15);
        item.dataRef = r.uint(2);
        item.base = r.uint(l.baseSize);
        const std::uint64_t extents = r.uint(2);
        for (std::uint64_t e = 0; e < extents && r.ok(); ++e) {
            Extent x;
            x.index = r.uint(l.indexSize);
            x.offset = r.uint(l.offsetSize);
            x.length = r.uint(l.lengthSize);
            item.extents.push_back(x);
        }
        l.items.push_back(std::move(item));
    }
    if (!r.ok())
        return std::nullopt;
    return l;
}

Bytes ilocBox(const Locations &l)
{
    Bytes p;
    put(p, std::uint64_t(l.version), 1);
    put(p, l.flags, 3);
    put(p, std::uint64_t((l.offsetSize << 12) | (l.lengthSize << 8) | (l.baseSize << 4) | l.indexSize), 2);
    const int idSize = l.version < 2 ? 2 : 4;
    put(p, l.items.size(), idSize);
    for (const Location &item : l.items) {
        put(p, item.id, idSize);
        if (l.version >= 1)
            put(p, std::uint64_t(item.method), 2);
        put(p, item.dataRef, 2);
        put(p, item.base, l.baseSize);
        put(p, item.extents.size(), 2);
        for (const Extent &x : item.extents) {
            put(p, x.index, l.indexSize);
            put(p, x.offset, l.offsetSize);
            put(p, x.length, l.lengthSize);
        }
    }
    return boxOf("iloc", p);
}

// The ids of the items to remove, and iinf without their entries.
std::optional<std::pair<std::set<std::uint32_t>, Bytes>> filterIinf(const Bytes &b, const Box &box, HeifItemKinds kinds)
{
    Reader r(b, box.payload(), box.end());
    const std::uint64_t version = r.uint(1), flags = r.uint(3);
    r.uint(version == 0 ? 2 : 4);
    if (!r.ok())
        return std::nullopt;
    const auto entries = boxesIn(b, r.at(), box.end());
    if (!entries)
        return std::nullopt;
    std::set<std::uint32_t> removed;
    Bytes kept;
    std::uint64_t keptCount = 0;
    for (const Box &entry : *entries) {
        if (entry.type == "infe") {
            Reader e(b, entry.payload(), entry.end());
            const std::uint64_t v = e.uint(1);
            e.uint(3);
            // Entries before version 2 name no item type: nothing of ours to remove.
            if (v >= 2) {
                const auto id = std::uint32_t(e.uint(v == 2 ? 2 : 4));
                e.uint(2); // protection index
                const std::string type = e.fourcc();
                e.text(); // name
                const std::string contentType = type == "mime" ? e.text() : std::string();
                if (!e.ok())
                    return std::nullopt;
                if ((kinds.exif && type == "Exif") || (kinds.xmp && type == "mime" && contentType == "application/rdf+xml")) {
                    removed.insert(id);
                    continue;
                }
            }
        }
        kept.insert(kept.end(), b.begin() + std::ptrdiff_t(entry.at), b.begin() + std::ptrdiff_t(entry.end()));
        ++keptCount;
    }
    Bytes p;
    put(p, version, 1);
    put(p, flags, 3);
    put(p, keptCount, version == 0 ? 2 : 4);
    p.insert(p.end(), kept.begin(), kept.end());
    return std::make_pair(std::move(removed), boxOf("iinf", p));
}

// iref without references from or to removed items; empty when none is left.
std::optional<Bytes> filterIref(const Bytes &b, const Box &box, const std::set<std::uint32_t> &removed)
{
    Reader r(b, box.payload(), box.end());
    const std::uint64_t version = r.uint(1), flags = r.uint(3);
    const int idSize = version == 0 ? 2 : 4;
    if (!r.ok())
        return std::nullopt;
    const auto refs = boxesIn(b, r.at(), box.end());
    if (!refs)
        return std::nullopt;
    Bytes kept;
    for (const Box &ref : *refs) {
        Reader e(b, ref.payload(), ref.end());
        const auto from = std::uint32_t(e.uint(idSize));
        const std::uint64_t count = e.uint(2);
        std::vector<std::uint32_t> to;
        for (std::uint64_t i = 0; i < count && e.ok(); ++i)
            to.push_back(std::uint32_t(e.uint(idSize)));
        if (!e.ok())
            return std::nullopt;
        if (removed.count(from))
            continue;
        to.erase(std::remove_if(to.begin(), to.end(), [&](std::uint32_t id) { return removed.count(id) != 0; }), to.end());
        if (to.empty())
            continue;
        Bytes p;
        put(p, from, idSize);
        put(p, to.size(), 2);
        for (std::uint32_t id : to)
            put(p, id, idSize);
        const Bytes rebuilt = boxOf(ref.type, p);
        kept.insert(kept.end(), rebuilt.begin(), rebuilt.end());
    }
    if (kept.empty())
        return Bytes();
    Bytes p;
    put(p, version, 1);
    put(p, flags, 3);
    p.insert(p.end(), kept.begin(), kept.end());
    return boxOf("iref", p);
}

// iprp with the property associations of removed items taken out of its ipma boxes.
std::optional<Bytes> filterIprp(const Bytes &b, const Box &box, const std::set<std::uint32_t> &removed)
{
    const auto children = boxesIn(b, box.payload(), box.end());
    if (!children)
        return std::nullopt;
    Bytes p;
    for (const Box &child : *children) {
        if (child.type != "ipma") {
            p.insert(p.end(), b.begin() + std::ptrdiff_t(child.at), b.begin() + std::ptrdiff_t(child.end()));
            continue;
        }
        Reader r(b, child.payload(), child.end());
        const std::uint64_t version = r.uint(1), flags = r.uint(3);
        const std::uint64_t count = r.uint(4);
        const int idSize = version < 1 ? 2 : 4;
        const std::size_t associationSize = (flags & 1) ? 2 : 1;
        Bytes entries;
        std::uint64_t kept = 0;
        for (std::uint64_t i = 0; i < count && r.ok(); ++i) {
            const std::size_t start = r.at();
            const auto id = std::uint32_t(r.uint(idSize));
            const std::uint64_t n = r.uint(1);
            for (std::uint64_t a = 0; a < n; ++a)
                r.uint(int(associationSize));
            if (r.ok() && !removed.count(id)) {
                entries.insert(entries.end(), b.begin() + std::ptrdiff_t(start), b.begin() + std::ptrdiff_t(r.at()));
                ++kept;
            }
        }
        if (!r.ok())
            return std::nullopt;
        Bytes ipma;
        put(ipma, version, 1);
        put(ipma, flags, 3);
        put(ipma, kept, 4);
        ipma.insert(ipma.end(), entries.begin(), entries.end());
        const Bytes rebuilt = boxOf("ipma", ipma);
        p.insert(p.end(), rebuilt.begin(), rebuilt.end());
    }
    return boxOf("iprp", p);
}

struct Range {
    std::uint64_t from, to;
};

} // namespace

std::optional<Bytes> withoutHeifItems(const Bytes &file, HeifItemKinds kinds)
{
    const auto top = boxesIn(file, 0, file.size());
    if (!top || top->empty() || top->front().type != "ftyp")
        return std::nullopt;
    const Box *meta = nullptr;
    for (const Box &box : *top) {
        if (box.type == "meta") {
            if (meta)
                return std::nullopt;
            meta = &box;
        }
    }
    if (!meta || meta->size < meta->header + 4)
        return std::nullopt;
    const auto children = boxesIn(file, meta->payload() + 4, meta->end());
    if (!children)
        return std::nullopt;

    const Box *iinf = nullptr, *iloc = nullptr;
    for (const Box &child : *children) {
        if (child.type == "iinf")
            iinf = &child;
        if (child.type == "iloc")
            iloc = &child;
    }
    if (!iinf || !iloc)
        return std::nullopt;
    auto info = filterIinf(file, *iinf, kinds);
    if (!info)
        return std::nullopt;
    const std::set<std::uint32_t> &removed = info->first;
    if (removed.empty())
        return file;
    auto locations = readIloc(file, *iloc);
    if (!locations)
        return std::nullopt;

    // The removed items' bytes: plain ranges of a top-level mdat, nothing else.
    std::vector<Range> cut;
    for (const Location &item : locations->items) {
        if (!removed.count(item.id))
            continue;
        if (item.method != 0 || item.dataRef != 0)
            return std::nullopt;
        for (const Extent &x : item.extents) {
            const std::uint64_t from = item.base + x.offset;
            if (x.length == 0 || from + x.length < from)
                return std::nullopt;
            const bool inMdat = std::any_of(top->begin(), top->end(), [&](const Box &box) {
                return box.type == "mdat" && from >= box.payload() && from + x.length <= box.end();
            });
            if (!inMdat)
                return std::nullopt;
            cut.push_back({from, from + x.length});
        }
    }
    std::sort(cut.begin(), cut.end(), [](const Range &a, const Range &b) { return a.from < b.from; });
    std::vector<Range> merged;
    for (const Range &r : cut) {
        if (!merged.empty() && r.from <= merged.back().to)
            merged.back().to = std::max(merged.back().to, r.to);
        else
            merged.push_back(r);
    }
    const auto overlapsCut = [&](std::uint64_t from, std::uint64_t to) {
        return std::any_of(merged.begin(), merged.end(), [&](const Range &r) { return from < r.to && r.from < to; });
    };

    // The new meta box, with iloc still holding the old offsets: its size does not
    // depend on them, and the offsets depend on the size of meta.
    Bytes newMeta;
    put(newMeta, 0, 4);
    newMeta.insert(newMeta.end(), {'m', 'e', 't', 'a'});
    newMeta.insert(newMeta.end(), file.begin() + std::ptrdiff_t(meta->payload()),
                   file.begin() + std::ptrdiff_t(meta->payload() + 4));
    std::size_t ilocAt = 0;
    std::vector<Location> keptLocations;
    for (const Location &item : locations->items)
        if (!removed.count(item.id))
            keptLocations.push_back(item);
    locations->items = keptLocations;
    for (const Box &child : *children) {
        Bytes replacement;
        if (child.type == "iinf") {
            replacement = info->second;
        } else if (child.type == "iloc") {
            ilocAt = newMeta.size();
            replacement = ilocBox(*locations);
        } else if (child.type == "iref") {
            auto iref = filterIref(file, child, removed);
            if (!iref)
                return std::nullopt;
            replacement = std::move(*iref);
        } else if (child.type == "iprp") {
            auto iprp = filterIprp(file, child, removed);
            if (!iprp)
                return std::nullopt;
            replacement = std::move(*iprp);
        } else if (child.type == "pitm") {
            Reader r(file, child.payload(), child.end());
            const std::uint64_t version = r.uint(1);
            r.uint(3);
            const auto primary = std::uint32_t(r.uint(version == 0 ? 2 : 4));
            if (!r.ok() || removed.count(primary))
                return std::nullopt;
            replacement = slice(file, child.at, child.end());
        } else {
            replacement = slice(file, child.at, child.end());
        }
        newMeta.insert(newMeta.end(), replacement.begin(), replacement.end());
    }
    if (!fits(newMeta.size(), 4))
        return std::nullopt;
    for (int i = 0; i < 4; ++i)
        newMeta[std::size_t(i)] = static_cast<unsigned char>(newMeta.size() >> (8 * (3 - i)));

    // Where a byte of the old file lands in the new one.
    const std::int64_t metaGrowth = std::int64_t(newMeta.size()) - std::int64_t(meta->size);
    const auto moved = [&](std::uint64_t at) {
        std::int64_t shift = at >= meta->end() ? metaGrowth : 0;
        for (const Range &r : merged)
            if (r.to <= at)
                shift -= std::int64_t(r.to - r.from);
        return std::int64_t(at) + shift;
    };
    for (Location &item : locations->items) {
        if (item.method != 0 || item.dataRef != 0 || item.extents.empty())
            continue; // relative to idat, another item or another file: unmoved
        std::vector<std::int64_t> targets;
        for (const Extent &x : item.extents) {
            const std::uint64_t from = item.base + x.offset;
            const std::uint64_t to = x.length ? from + x.length : file.size();
            if (overlapsCut(from, to) || (from < meta->end() && to > meta->at))
                return std::nullopt;
            targets.push_back(moved(from));
        }
        std::int64_t base = 0;
        if (locations->offsetSize == 0) {
            if (item.extents.size() != 1)
                return std::nullopt;
            base = targets.front();
        } else if (locations->baseSize != 0) {
            base = std::min<std::int64_t>(std::int64_t(item.base), *std::min_element(targets.begin(), targets.end()));
        }
        if (base < 0 || !fits(std::uint64_t(base), locations->baseSize))
            return std::nullopt;
        item.base = std::uint64_t(base);
        for (std::size_t i = 0; i < item.extents.size(); ++i) {
            const std::int64_t offset = targets[i] - base;
            if (offset < 0 || !fits(std::uint64_t(offset), locations->offsetSize))
                return std::nullopt;
            item.extents[i].offset = std::uint64_t(offset);
        }
    }
    const Bytes finalIloc = ilocBox(*locations);
    const std::size_t placeholderSize = (std::size_t(newMeta[ilocAt]) << 24) | (std::size_t(newMeta[ilocAt + 1]) << 16) |
                                        (std::size_t(newMeta[ilocAt + 2]) << 8) | newMeta[ilocAt + 3];
    if (finalIloc.size() != placeholderSize)
        return std::nullopt;
    std::copy(finalIloc.begin(), finalIloc.end(), newMeta.begin() + std::ptrdiff_t(ilocAt));

    Bytes out;
    out.reserve(file.size());
    for (const Box &box : *top) {
        if (&box == meta) {
            out.insert(out.end(), newMeta.begin(), newMeta.end());
            continue;
        }
        std::uint64_t removedHere = 0;
        for (const Range &r : merged)
            if (r.from >= box.payload() && r.to <= box.end())
                removedHere += r.to - r.from;
        if (removedHere == 0) {
            out.insert(out.end(), file.begin() + std::ptrdiff_t(box.at), file.begin() + std::ptrdiff_t(box.end()));
            continue;
        }
        const std::uint64_t size = box.size - removedHere;
        if (box.header == 16) {
            put(out, 1, 4);
            putType(out, box.type);
            put(out, size, 8);
        } else {
            put(out, box.toEnd ? 0 : size, 4);
            putType(out, box.type);
        }
        std::size_t at = box.payload();
        for (const Range &r : merged) {
            if (r.from < box.payload() || r.to > box.end())
                continue;
            out.insert(out.end(), file.begin() + std::ptrdiff_t(at), file.begin() + std::ptrdiff_t(r.from));
            at = std::size_t(r.to);
        }
        out.insert(out.end(), file.begin() + std::ptrdiff_t(at), file.begin() + std::ptrdiff_t(box.end()));
    }
    return out;
}

} // namespace dravik
