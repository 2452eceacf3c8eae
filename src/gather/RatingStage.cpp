#include "RatingStage.h"

#include <cstring>
#include <stdexcept>

namespace vantor::gather {

namespace {

// Ratings of one page run are kept in pieces of this many, so no single row grows without bound.
constexpr std::size_t kRatingsPerPiece = 2000;

// Writes fields one after another; Reader takes them back in the same order.
struct Writer {
    std::string bytes;
    void field(const std::string& text) {
        field(std::int32_t(text.size()));
        bytes += text;
    }
    void field(const std::int32_t& number) {
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
    void field(const double& number) { bytes.append(reinterpret_cast<const char*>(&number), sizeof number); }
    void field(const bool& flag) { bytes.push_back(flag ? 1 : 0); }
};

struct Reader {
    std::string_view bytes;
    void take(void* to, std::size_t n) {
        if (bytes.size() < n) throw std::runtime_error("暂存的评价数据不完整");
        std::memcpy(to, bytes.data(), n);
        bytes.remove_prefix(n);
    }
    void field(std::string& text) {
        std::int32_t n = 0;
        field(n);
        if (n < 0 || std::size_t(n) > bytes.size()) throw std::runtime_error("暂存的评价数据不完整");
        text.assign(bytes.substr(0, std::size_t(n)));
        bytes.remove_prefix(std::size_t(n));
    }
    void field(std::int32_t& number) { take(&number, sizeof number); }
    void field(double& number) { take(&number, sizeof number); }
    void field(bool& flag) {
        char c = 0;
        take(&c, 1);
        flag = c != 0;
    }
};

// Each record's fields, once, for writing and reading alike.
template <class Io, class Shop> void fields(Io& io, Shop& s) {
    for (auto* text : {&s.id, &s.webaddr, &s.rateUrl, &s.addr, &s.dianming, &s.dianzhu, &s.userId, &s.loc,
                       &s.commodityKind, &s.createDate, &s.firstPageUrl, &s.lastGathered})
        io.field(*text);
    for (auto* number : {&s.commodityNum, &s.salerCredit, &s.buyerCredit, &s.favorite, &s.itemPageCount})
        io.field(*number);
}

template <class Io, class Summary> void summaryFields(Io& io, Summary& r) {
    for (auto* number :
         {&r.rateCount, &r.salerGood1,  &r.salerNotBad1, &r.salerBad1, &r.buyerGood1, &r.buyerNotBad1,
          &r.buyerBad1, &r.salerGood2,  &r.salerNotBad2, &r.salerBad2, &r.buyerGood2, &r.buyerNotBad2,
          &r.buyerBad2, &r.salerGood3,  &r.salerNotBad3, &r.salerBad3, &r.buyerGood3, &r.buyerNotBad3,
          &r.buyerBad3, &r.salerGood4,  &r.salerNotBad4, &r.salerBad4, &r.buyerGood4, &r.buyerNotBad4,
          &r.buyerBad4, &r.salerCredit, &r.buyerCredit})
        io.field(*number);
    for (auto* text : {&r.dianId, &r.itemGoal, &r.serviceGoal, &r.consignGoal})
        io.field(*text);
    for (auto* number : {&r.virtualGoal, &r.realGoal, &r.salerGoodRate, &r.buyerGoodRate})
        io.field(*number);
}

template <class Io, class Rating> void ratingFields(Io& io, Rating& r) {
    for (auto* text :
         {&r.pj, &r.pjInfo, &r.pjjs, &r.pjsj, &r.pjName, &r.itemId, &r.itemTitle, &r.tradeId, &r.raterLink})
        io.field(*text);
    io.field(r.jg);
    io.field(r.counts);
}

} // namespace

RatingStage::RatingStage() : db_("", db::Database::Mode::CreateIfMissing) {
    db_.exec("PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF;"
             "CREATE TABLE shop (seq INTEGER PRIMARY KEY, shop BLOB, summary BLOB);"
             "CREATE TABLE piece (seq INTEGER, run INTEGER, history INTEGER, ratings BLOB);"
             "CREATE INDEX piece_seq ON piece (seq);");
}

void RatingStage::add(const ShopRatings& haul) {
    Writer shop, summary;
    fields(shop, haul.shop);
    summaryFields(summary, haul.summary);
    db_.exec("BEGIN");
    auto insertShop = db_.prepare("INSERT INTO shop VALUES (:seq, :shop, :summary)");
    insertShop.bind("seq", std::int64_t(count_)).bind("shop", shop.bytes).bind("summary", summary.bytes);
    insertShop.execute();
    auto insertPiece = db_.prepare("INSERT INTO piece VALUES (:seq, :run, :history, :ratings)");
    for (std::size_t run = 0; run < haul.runs.size(); ++run) {
        const auto& ratings = haul.runs[run].ratings;
        for (std::size_t first = 0; first == 0 || first < ratings.size(); first += kRatingsPerPiece) {
            Writer piece;
            std::int32_t n = std::int32_t(std::min(kRatingsPerPiece, ratings.size() - first));
            piece.field(n);
            for (std::size_t i = first; i < first + std::size_t(n); ++i) {
                piece.field(ratings.text(i));
                ratingFields(piece, ratings.record(i));
            }
            insertPiece.bind("seq", std::int64_t(count_))
                .bind("run", std::int64_t(run))
                .bind("history", std::int64_t(haul.runs[run].history))
                .bind("ratings", piece.bytes);
            insertPiece.execute();
            insertPiece.reset();
            if (ratings.empty()) break;
        }
    }
    db_.exec("COMMIT");
    ++count_;
}

ShopRatings RatingStage::read(std::size_t index) {
    ShopRatings haul;
    auto shop = db_.prepare("SELECT shop, summary FROM shop WHERE seq = :seq");
    shop.bind("seq", std::int64_t(index));
    if (!shop.step()) throw std::out_of_range("no staged shop");
    Reader shopBytes{shop.textView(0)}, summaryBytes{shop.textView(1)};
    fields(shopBytes, haul.shop);
    summaryFields(summaryBytes, haul.summary);
    auto pieces = db_.prepare("SELECT run, history, ratings FROM piece WHERE seq = :seq ORDER BY rowid");
    pieces.bind("seq", std::int64_t(index));
    while (pieces.step()) {
        const auto run = std::size_t(pieces.integer(0));
        if (run >= haul.runs.size()) haul.runs.resize(run + 1);
        haul.runs[run].history = pieces.integer(1) != 0;
        Reader piece{pieces.textView(2)};
        std::int32_t n = 0;
        piece.field(n);
        for (std::int32_t i = 0; i < n; ++i) {
            std::string text;
            TRateInfo rating;
            piece.field(text);
            ratingFields(piece, rating);
            haul.runs[run].ratings.add(std::move(text), std::move(rating));
        }
    }
    return haul;
}

} // namespace vantor::gather
