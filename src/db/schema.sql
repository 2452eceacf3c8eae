-- The gathered data: shops, their items, sales and ratings, and saved ranking lists.
-- Dates are text in the one form 'yyyy-MM-dd HH:mm:ss', so they sort and compare as written.

CREATE TABLE IF NOT EXISTS dianbase (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    dianzhu TEXT,
    zhuce TEXT,
    addr TEXT,
    dianming TEXT,
    webaddr TEXT,
    updateDate TEXT,
    buylevel INTEGER,
    buyerCredit INTEGER,
    salelevel INTEGER,
    salerCredit INTEGER,
    commodityKind TEXT,
    loc TEXT,
    buyerBad1 INTEGER, buyerBad2 INTEGER, buyerBad3 INTEGER, buyerBad4 INTEGER,
    buyerNotBad1 INTEGER, buyerNotBad2 INTEGER, buyerNotBad3 INTEGER, buyerNotBad4 INTEGER,
    buyerGood1 INTEGER, buyerGood2 INTEGER, buyerGood3 INTEGER, buyerGood4 INTEGER,
    salerBad1 INTEGER, salerBad2 INTEGER, salerBad3 INTEGER, salerBad4 INTEGER,
    salerNotBad1 INTEGER, salerNotBad2 INTEGER, salerNotBad3 INTEGER, salerNotBad4 INTEGER,
    salerGood1 INTEGER, salerGood2 INTEGER, salerGood3 INTEGER, salerGood4 INTEGER,
    commodityNum INTEGER,
    createDate TEXT,
    salerGoodRate REAL,
    buyerGoodRate REAL,
    pjUpdate1 TEXT,
    pjUpdate2 TEXT,
    favorite INTEGER,
    virtualGoal REAL,
    realGoal REAL,
    itemGoal TEXT,
    serviceGoal TEXT,
    consignGoal TEXT,
    analyseGoal NUMERIC,
    userId TEXT,
    isSend INTEGER NOT NULL DEFAULT 0,
    flag INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX IF NOT EXISTS dianbase_dianzhu ON dianbase (dianzhu);

CREATE TABLE IF NOT EXISTS itemInfo (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    dian_id INTEGER,
    itemId TEXT,
    itemTitle TEXT,
    itemAutionUrl TEXT,
    updateDate TEXT,
    curPrice NUMERIC,
    curSale INTEGER,
    monthSale INTEGER,
    favorite INTEGER,
    addr TEXT,
    analyseGoal NUMERIC,
    isSend INTEGER NOT NULL DEFAULT 0,
    flag INTEGER NOT NULL DEFAULT 0
);
CREATE INDEX IF NOT EXISTS itemInfo_itemId ON itemInfo (itemId);
CREATE INDEX IF NOT EXISTS itemInfo_dian_id ON itemInfo (dian_id);

CREATE TABLE IF NOT EXISTS saleInfo (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    itemId TEXT,
    trade_id TEXT,
    itemTitle TEXT,
    amount REAL,
    buyerName TEXT,
    buyerId TEXT,
    sj TEXT,
    buyNum REAL,
    getNum REAL,
    status TEXT
);
-- (itemId, sj) serves the per-item lookups, the newest-first listing and the date-range deletes;
-- amount and getNum ride along, so the sales analyses sum a shop's sales from the index alone
-- instead of reading a million scattered rows. It replaces the narrower index of older files.
DROP INDEX IF EXISTS saleInfo_itemId_sj;
CREATE INDEX IF NOT EXISTS saleInfo_itemId_sj_amount ON saleInfo (itemId, sj, amount, getNum);

CREATE TABLE IF NOT EXISTS pjinfo (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    dian_id INTEGER,
    pj TEXT,
    buyerOrSaler INTEGER,
    pjName TEXT,
    itemId TEXT,
    itemTitle TEXT,
    pjsj TEXT,
    jg REAL,
    pjInfo TEXT,
    pjjs TEXT,
    trade_id TEXT
);
CREATE INDEX IF NOT EXISTS pjinfo_trade_id ON pjinfo (trade_id);
-- A shop's ratings in time order (ties in the order saved) with what the credit growth and the rating
-- check read of each, so neither visits a million scattered rows. It replaces two narrower indexes of
-- older files.
DROP INDEX IF EXISTS pjinfo_dian_id_pjsj;
DROP INDEX IF EXISTS pjinfo_credit;
CREATE INDEX IF NOT EXISTS pjinfo_rated ON pjinfo (dian_id, pjsj, id, pj, trade_id, pjName, jg);
-- The ratings with the marketplace's automatic comment or none, which the check lists in full. The
-- condition holds a tab between the quotes and stands word for word in the check's statement.
CREATE INDEX IF NOT EXISTS pjinfo_default_comment ON pjinfo (dian_id, pjsj, id, pj, pjName, pjInfo, itemTitle)
    WHERE (pjInfo LIKE '%默认好评%' OR trim(replace(coalesce(pjInfo,''),'	',''))='');

-- Ratings the marketplace shows as "[不计分]": they add nothing to the credit. Kept apart from pjinfo so
-- its rows and exports stay as they are.
CREATE TABLE IF NOT EXISTS pjNoEffect (
    dian_id INTEGER,
    trade_id TEXT,
    PRIMARY KEY (dian_id, trade_id)
);

CREATE TABLE IF NOT EXISTS itemTop (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    typeId TEXT,
    dianzhu TEXT,
    itemUrl TEXT,
    itemTitle TEXT,
    shipping REAL,
    favorite INTEGER,
    monthSale INTEGER,
    amount REAL,
    place TEXT,
    updateDate TEXT
);
CREATE INDEX IF NOT EXISTS itemTop_typeId ON itemTop (typeId, updateDate);

-- The shops of the last sales gathering in its order, as their search rows gave them, and which of
-- them were committed: a run cut short by a crash, a stop or a failure goes on from here. Each
-- gatherer of a shared store keeps its own record (owner); a data file has one, owner ''.
CREATE TABLE IF NOT EXISTS salesRun (
    owner TEXT NOT NULL DEFAULT '',
    pos INTEGER NOT NULL,
    items INTEGER,
    done INTEGER DEFAULT 0,
    webaddr TEXT,
    rateUrl TEXT,
    addr TEXT,
    dianming TEXT,
    dianzhu TEXT,
    userId TEXT,
    commodityNum INTEGER,
    loc TEXT,
    salerCredit INTEGER,
    buyerCredit INTEGER,
    favorite INTEGER,
    createDate TEXT,
    PRIMARY KEY (owner, pos)
);

-- The competitor watch: the shops watched (by their address), what each round saw of them, and what
-- changed since the round before.
CREATE TABLE IF NOT EXISTS watchShop (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    webaddr TEXT NOT NULL UNIQUE,
    dianzhu TEXT DEFAULT '',
    dianming TEXT DEFAULT '',
    items INTEGER NOT NULL DEFAULT 10,
    ratings INTEGER NOT NULL DEFAULT 0,
    added TEXT,
    lastRound TEXT DEFAULT '',
    state TEXT DEFAULT ''
);
CREATE TABLE IF NOT EXISTS watchRound (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    started TEXT,
    ended TEXT,
    state TEXT
);
-- Per shop and round: the shop as the round saw it. sj is the round's time.
CREATE TABLE IF NOT EXISTS watchShopSnap (
    round_id INTEGER NOT NULL,
    watch_id INTEGER NOT NULL,
    dian_id INTEGER,
    sj TEXT,
    salerCredit INTEGER,
    salerGoodRate REAL,
    itemCount INTEGER,
    lastSale TEXT,   -- the newest sale and rating held after the round: the next round's news come after
    lastRating TEXT,
    PRIMARY KEY (round_id, watch_id)
);
-- Per shop and round: every item listed; the followed ones with what their pages show.
CREATE TABLE IF NOT EXISTS watchItemSnap (
    round_id INTEGER NOT NULL,
    watch_id INTEGER NOT NULL,
    itemId TEXT NOT NULL,
    followed INTEGER DEFAULT 0,
    title TEXT,
    price REAL,
    monthSale INTEGER,
    favorite INTEGER,
    PRIMARY KEY (round_id, watch_id, itemId)
);
CREATE TABLE IF NOT EXISTS watchChange (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    round_id INTEGER,
    watch_id INTEGER,
    sj TEXT,
    kind TEXT,
    itemId TEXT DEFAULT '',
    itemTitle TEXT DEFAULT '',
    oldValue TEXT DEFAULT '',
    newValue TEXT DEFAULT '',
    note TEXT DEFAULT '',
    alert INTEGER DEFAULT 0
);
CREATE INDEX IF NOT EXISTS watchChange_watch_sj ON watchChange (watch_id, sj);

-- Shops with ratings and how many.
CREATE VIEW IF NOT EXISTS dianbase_rate_v AS
    SELECT dian_id, count(*) AS rateNums FROM pjinfo GROUP BY dian_id;

-- Begin of the item's sales record: the earliest sale held.
CREATE VIEW IF NOT EXISTS itemInfoV_ AS
    SELECT itemId, min(sj) AS beginDate FROM saleInfo GROUP BY itemId;

-- Begin of the item's counted sales: the earliest sale that counts for turnover.
CREATE VIEW IF NOT EXISTS saleBeginDateV AS
    SELECT itemId, min(sj) AS beginDate FROM saleInfo WHERE getNum > 0 GROUP BY itemId;

-- Items with their shop and sales totals. The totals are correlated subqueries, not a join on an
-- aggregate, so a query for one shop only sums that shop's sales, and queries that do not name a
-- total never compute it.
CREATE VIEW IF NOT EXISTS itemInfoV AS
    SELECT i.*,
           d.dianming, d.dianzhu, d.updateDate AS dianUpdateDate, d.createDate, d.webaddr,
           d.salerGoodRate, d.salerCredit, d.salelevel, d.loc, d.commodityNum,
           (SELECT sum(s.getNum) FROM saleInfo s WHERE s.itemId = i.itemId) AS totalNums,
           (SELECT sum(s.getNum * s.amount) FROM saleInfo s WHERE s.itemId = i.itemId) AS totalAmount,
           (SELECT min(s.sj) FROM saleInfo s WHERE s.itemId = i.itemId) AS "itemInfoV_.beginDate",
           (SELECT min(s.sj) FROM saleInfo s WHERE s.itemId = i.itemId AND s.getNum > 0)
               AS "saleBeginDateV.beginDate"
    FROM itemInfo i LEFT JOIN dianbase d ON d.id = i.dian_id;
