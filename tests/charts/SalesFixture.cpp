#include "SalesFixture.h"

#include "support/TempDir.h"

#include <iconv.h>
#include <stdexcept>

namespace vantor::test {

void fillSalesFixture(db::Database& db) {
    db.exec(R"(
        insert into dianbase(id,dianzhu,dianming,updateDate,salerCredit) values
            (1,'alice','爱丽丝小店','2012-01-05 10:00:00',1200),
            (2,'bob','鲍勃','2012-01-06 10:00:00',5),
            (3,'carol','跨年小铺','2012-01-05 10:00:00',3000),
            (4,'dave','全天候','2011-06-01 10:00:00',10),
            (5,'erin','空店','2012-02-01 10:00:00',99);
        insert into itemInfo(dian_id,itemId,itemTitle) values
            (1,'i1','Tom''s "A&B" 包'),(1,'i2','围巾'),(1,'i3','帽子'),(2,'i4','手套'),(3,'i5','台历'),
            (4,'i6','咖啡');
        insert into saleInfo(itemId,trade_id,amount,sj,buyNum,getNum) values
            ('i1','t1',10.5,'2011-03-05 10:15:00',2,2),
            ('i1','t2',10.5,'2011-03-06 23:59:59',1,1),
            ('i1','t3',9.9,'2011-03-06 08:00:00',1,1),
            ('i2','t4',2.5,'2011-12-30 10:00:00',1,1),
            ('i2','t5',2.5,'2011-12-31 00:00:00',3,3),
            ('i2','t6',2.5,'2011-12-31 00:00:01',5,5),
            ('i3','t7',15,'2010-06-01 12:00:00',1,1),
            ('i4','t8',30,'2011-05-05 12:00:00',7,7),
            ('i5','t9',5,'2010-02-26 12:00:00',1,1),
            ('i5','t10',5,'2010-03-05 12:00:00',2,2),
            ('i5','t11',8,'2010-12-30 12:00:00',1,1),
            ('i5','t12',8,'2011-01-01 12:00:00',3,3),
            ('i5','t13',8,'2011-01-02 12:00:00',1,1);
    )");
    auto sale = db.prepare("insert into saleInfo(itemId,amount,sj,buyNum,getNum) values('i6',1,:sj,1,1)");
    for (int hour = 0; hour < 24; ++hour) {
        char sj[32];
        std::snprintf(sj, sizeof sj, "2011-05-01 %02d:30:00", hour);
        sale.bind("sj", std::string(sj)).execute();
        sale.reset();
    }
}

std::string gbkFileAsUtf8(const std::filesystem::path& file) {
    std::string gbk = readFile(file);
    iconv_t cd = iconv_open("UTF-8", "GBK");
    std::string out(gbk.size() * 2 + 16, '\0');
    char* in = gbk.data();
    size_t inLeft = gbk.size();
    char* to = out.data();
    size_t toLeft = out.size();
    size_t rc = iconv(cd, &in, &inLeft, &to, &toLeft);
    iconv_close(cd);
    if (rc == size_t(-1)) throw std::runtime_error("not GBK: " + file.string());
    out.resize(out.size() - toLeft);
    return out;
}

std::string crlfLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines)
        text += line + "\r\n";
    return text;
}

std::string listDocument(const std::vector<std::string>& tags,
                         const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::string> lines{"<?xml version=\"1.0\" encoding=\"gb2312\"?> ", "<shop>"};
    for (const auto& row : rows) {
        lines.push_back("<sale>");
        for (std::size_t i = 0; i < tags.size(); ++i)
            lines.push_back("<" + tags[i] + ">" + row.at(i) + "</" + tags[i] + ">");
        lines.push_back("</sale>");
    }
    lines.push_back("</shop>");
    return crlfLines(lines);
}

} // namespace vantor::test
