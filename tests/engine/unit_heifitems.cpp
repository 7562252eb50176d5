// Removing metadata items from a HEIF file, on files laid out in ways our AVIF saver does
// not write today: item data split into several extents, data kept past the removed item,
// base offsets, mdat before meta. What must hold: every item that stays reads the same
// bytes through its new locations, and the removed item leaves no trace.
#include "heifitems.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

using namespace dravik;

namespace {

void put(std::string &s, std::uint64_t v, int bytes)
{
    for (int i = bytes - 1; i >= 0; --i)
        s.push_back(char((v >> (8 * i)) & 0xFF));
}

std::string box(const std::string &type, const std::string &payload)
{
    std::string s;
    put(s, 8 + payload.size(), 4);
    return s + type + payload;
}

std::string fullBox(const std::string &type, int version, const std::string &payload)
{
    std::string head;
    put(head, std::uint64_t(version) << 24, 4);
    return box(type, head + payload);
}

struct Item {
    std::uint16_t id;
    std::string type;   // av01, Exif, mime
    std::vector<std::string> parts; // stored as separate extents, in this order in mdat
};

// A HEIF file of these items. iloc version 1 with 4-byte base offsets and extents that
// point relative to the base; mdat holds the parts interleaved as `order` says
// (item id, part index).
std::string heifFile(const std::vector<Item> &items, const std::vector<std::pair<int, int>> &order, bool mdatFirst)
{
    std::string mdatPayload;
    std::map<std::pair<int, int>, std::size_t> partAt;
    for (auto [id, part] : order) {
        for (const Item &item : items)
            if (item.id == id) {
                partAt[{id, part}] = mdatPayload.size();
                mdatPayload += item.parts[std::size_t(part)];
            }
    }
    const std::string ftyp = box("ftyp", std::string("avif") + std::string(4, '\0') + "avifmif1");
    const auto metaFor = [&](std::uint64_t mdatStart) {
        std::string iloc;
        put(iloc, 0x4440, 2); // offset 4, length 4, base 4, index 0
        put(iloc, items.size(), 2);
        std::string iinf;
        put(iinf, items.size(), 2);
        std::string ipma;
        put(ipma, items.size(), 4);
        for (const Item &item : items) {
            put(iloc, item.id, 2);
            put(iloc, 0, 2); // construction method 0
            put(iloc, 0, 2); // this file
            const std::uint64_t base = mdatStart + 8 + partAt[{item.id, 0}] - 3; // any base before the data
            put(iloc, base, 4);
            put(iloc, item.parts.size(), 2);
            for (std::size_t p = 0; p < item.parts.size(); ++p) {
                put(iloc, mdatStart + 8 + partAt[{item.id, int(p)}] - base, 4);
                put(iloc, item.parts[p].size(), 4);
            }
            std::string infe;
            put(infe, item.id, 2);
            put(infe, 0, 2);
            infe += item.type + std::string("name") + '\0';
            if (item.type == "mime")
                infe += std::string("application/rdf+xml") + '\0';
            iinf += fullBox("infe", 2, infe);
            put(ipma, item.id, 2);
            put(ipma, 1, 1);
            put(ipma, 0x81, 1);
        }
        std::string pitm;
        put(pitm, 1, 2);
        std::string cdsc, auxl;
        for (std::uint64_t v : {2, 1, 1}) // from item 2, one reference, to item 1
            put(cdsc, v, 2);
        for (std::uint64_t v : {3, 1, 1})
            put(auxl, v, 2);
        const std::string iprp = box("iprp", box("ipco", box("ispe", std::string(12, '\0'))) + fullBox("ipma", 0, ipma));
        return fullBox("meta", 0, fullBox("hdlr", 0, std::string(20, '\0')) + fullBox("pitm", 0, pitm) +
                                      fullBox("iloc", 1, iloc) + fullBox("iinf", 0, iinf) +
                                      fullBox("iref", 0, box("cdsc", cdsc) + box("auxl", auxl)) + iprp);
    };
    const std::string mdat = box("mdat", mdatPayload);
    if (mdatFirst)
        return ftyp + mdat + metaFor(ftyp.size());
    const std::size_t metaSize = metaFor(0).size();
    return ftyp + metaFor(ftyp.size() + metaSize) + mdat;
}

struct Read {
    std::map<int, std::string> items; // id: its data through iloc
    std::map<int, std::string> types; // id: item type from iinf
    std::string iref;
    std::string ipma;
};

std::uint64_t get(const std::string &s, std::size_t at, int bytes)
{
    std::uint64_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = (v << 8) | static_cast<unsigned char>(s.at(at + std::size_t(i)));
    return v;
}

// Reads back the few boxes these files have, the way a decoder would find item data.
Read readBack(const std::string &f)
{
    Read r;
    const auto boxAt = [&](std::size_t from, std::size_t to, const std::string &type) -> std::pair<std::size_t, std::size_t> {
        for (std::size_t at = from; at + 8 <= to;) {
            const std::size_t size = get(f, at, 4);
            if (f.substr(at + 4, 4) == type)
                return {at, size};
            at += size;
        }
        return {0, 0};
    };
    const auto [meta, metaSize] = boxAt(0, f.size(), "meta");
    const std::size_t children = meta + 12, metaEnd = meta + metaSize;
    const auto [iloc, ilocSize] = boxAt(children, metaEnd, "iloc");
    std::size_t at = iloc + 16;
    for (std::uint64_t n = get(f, iloc + 14, 2); n > 0; --n) {
        const int id = int(get(f, at, 2));
        const std::uint64_t base = get(f, at + 6, 4);
        const std::uint64_t extents = get(f, at + 10, 2);
        at += 12;
        std::string data;
        for (std::uint64_t e = 0; e < extents; ++e, at += 8)
            data += f.substr(base + get(f, at, 4), get(f, at + 4, 4));
        r.items[id] = data;
    }
    const auto [iinf, iinfSize] = boxAt(children, metaEnd, "iinf");
    for (std::size_t e = iinf + 14; e < iinf + iinfSize; e += get(f, e, 4))
        r.types[int(get(f, e + 12, 2))] = f.substr(e + 16, 4);
    const auto [iref, irefSize] = boxAt(children, metaEnd, "iref");
    r.iref = iref ? f.substr(iref, irefSize) : "";
    const auto [iprp, iprpSize] = boxAt(children, metaEnd, "iprp");
    const auto [ipma, ipmaSize] = boxAt(iprp + 8, iprp + iprpSize, "ipma");
    r.ipma = f.substr(ipma, ipmaSize);
    return r;
}

Bytes bytesOf(const std::string &s) { return Bytes(s.begin(), s.end()); }
std::string textOf(const Bytes &b) { return std::string(b.begin(), b.end()); }

} // namespace

TEST(HeifItems, RemovedItemsLeaveNoTraceAndTheOthersReadTheSame)
{
    const std::vector<Item> items{{1, "av01", {"colour-part-one", "colour-part-two"}},
                                  {2, "Exif", {"Exif-block-with-secrets"}},
                                  {3, "av01", {"alpha-plane"}},
                                  {4, "mime", {"<x:xmpmeta>creator</x:xmpmeta>"}}};
    // The EXIF sits between the two parts of the colour item and before alpha and XMP.
    const std::vector<std::pair<int, int>> order{{1, 0}, {2, 0}, {1, 1}, {3, 0}, {4, 0}};
    for (bool mdatFirst : {false, true}) {
        SCOPED_TRACE(mdatFirst ? "mdat before meta" : "meta before mdat");
        const std::string file = heifFile(items, order, mdatFirst);
        const Read before = readBack(file);
        ASSERT_EQ(before.items.at(1), "colour-part-onecolour-part-two"); // the builder itself is right

        const std::optional<Bytes> exifGone = withoutHeifItems(bytesOf(file), {true, false});
        ASSERT_TRUE(exifGone.has_value());
        const std::string out = textOf(*exifGone);
        EXPECT_EQ(out.find("Exif"), std::string::npos) << "its entry or its data is left";
        // Its data, iloc entry, infe box, cdsc box and ipma entry, and nothing else.
        EXPECT_EQ(out.size(), file.size() - 23 - 20 - 25 - 14 - 4);
        const Read after = readBack(out);
        EXPECT_EQ(after.items.size(), 3u);
        for (int id : {1, 3, 4}) {
            EXPECT_EQ(after.items.at(id), before.items.at(id)) << "item " << id;
            EXPECT_EQ(after.types.at(id), before.types.at(id));
        }
        EXPECT_EQ(after.types.count(2), 0u);
        EXPECT_EQ(after.iref.find("cdsc"), std::string::npos);
        EXPECT_NE(after.iref.find("auxl"), std::string::npos) << "the alpha's reference must stay";
        EXPECT_EQ(get(after.ipma, 12, 4), 3u);

        // Both kinds at once: the XMP at the end of mdat goes too.
        const std::optional<Bytes> bothGone = withoutHeifItems(bytesOf(file), {true, true});
        ASSERT_TRUE(bothGone.has_value());
        const Read none = readBack(textOf(*bothGone));
        EXPECT_EQ(none.items.size(), 2u);
        EXPECT_EQ(none.items.at(1), before.items.at(1));
        EXPECT_EQ(none.items.at(3), before.items.at(3));
        EXPECT_EQ(textOf(*bothGone).find("xmpmeta"), std::string::npos);
    }
}

TEST(HeifItems, NothingToRemoveOrNothingSafeToDo)
{
    const std::vector<Item> plain{{1, "av01", {"colour"}}, {2, "av01", {"more"}}, {3, "av01", {"alpha"}}};
    const std::string file = heifFile(plain, {{1, 0}, {2, 0}, {3, 0}}, false);
    const std::optional<Bytes> same = withoutHeifItems(bytesOf(file), {true, true});
    ASSERT_TRUE(same.has_value());
    EXPECT_EQ(textOf(*same), file);

    // The primary item cannot go; a torn file is not edited.
    const std::string exifPrimary =
        heifFile({{1, "Exif", {"Exif-data"}}, {2, "av01", {"x"}}, {3, "av01", {"y"}}}, {{1, 0}, {2, 0}, {3, 0}}, false);
    EXPECT_FALSE(withoutHeifItems(bytesOf(exifPrimary), {true, false}).has_value());
    const std::string withExif =
        heifFile({{1, "av01", {"colour"}}, {2, "Exif", {"Exif-data"}}, {3, "av01", {"a"}}}, {{1, 0}, {2, 0}, {3, 0}}, false);
    for (std::size_t keep : {std::size_t(40), withExif.size() - 5})
        EXPECT_FALSE(withoutHeifItems(bytesOf(withExif.substr(0, keep)), {true, false}).has_value()) << keep;
    EXPECT_FALSE(withoutHeifItems(bytesOf("not a heif file at all"), {true, false}).has_value());
}
