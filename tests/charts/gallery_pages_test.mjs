// The gallery pages in headless Chromium: vantor-cli writes the documents of a real data file,
// then each page is loaded from the data folder and the drawn charts are read back through the
// DevTools protocol (over a pipe, Node's built-in modules only).
//
// node gallery_pages_test.mjs <chromium> <vantor-cli> <schema.sql> <sqlite3>
import { test, after } from 'node:test';
import assert from 'node:assert/strict';
import { spawn, execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';

const [chromiumPath, cliPath, schemaPath, sqlitePath] = process.argv.slice(2);
const work = mkdtempSync(join(tmpdir(), 'vantor-pages-'));
const data = join(work, 'data');

// Shop 1 sells 30 items; item k sells k pieces at 10.00 on 2011-03-(k % 28 + 1) at k % 24 o'clock.
// Item 1's title carries a quote, double quotes, "&" and angle brackets.
function fillDatabase() {
    const titles = (k) => (k === 1 ? `Tom''s "A&B" <包>` : `商品${String(k).padStart(2, '0')}`);
    const rows = [];
    for (let k = 1; k <= 30; ++k) {
        const day = String((k % 28) + 1).padStart(2, '0');
        const hour = String(k % 24).padStart(2, '0');
        rows.push(`insert into itemInfo(dian_id,itemId,itemTitle) values(1,'i${k}','${titles(k)}');`);
        rows.push(`insert into saleInfo(itemId,amount,sj,buyNum,getNum) values('i${k}',10,'2011-03-${day} ${hour}:00:00',${k},${k});`);
    }
    // Ratings: a good one a day in March 2011, a bad one on 3 March, nine good ones on 20 March.
    for (let d = 1; d <= 31; ++d)
        rows.push(`insert into pjinfo(dian_id,pj,pjsj,trade_id,jg,pjName,pjInfo) values(1,'好评','2011-03-${String(d).padStart(2, '0')} 10:00:00','g${d}',20,'买家${d}','好');`);
    rows.push(`insert into pjinfo(dian_id,pj,pjsj,trade_id,jg,pjName,pjInfo) values(1,'差评','2011-03-03 11:00:00','b1',5,'买家3','差');`);
    for (let k = 0; k < 9; ++k)
        rows.push(`insert into pjinfo(dian_id,pj,pjsj,trade_id,jg,pjName,pjInfo) values(1,'好评','2011-03-20 1${k}:30:00','s${k}',2,'小号','');`);
    // Shop 2 sells across the turn of 2010/2011 with two days without sales between: 2 pieces at 50.00
    // on Thursday 30 December at 10 o'clock, 3 pieces at 10.00 on Sunday 2 January at 14 o'clock.
    rows.push(`insert into itemInfo(dian_id,itemId,itemTitle) values(2,'y1','一件名字特别长的冬季加厚羽绒服');`);
    rows.push(`insert into itemInfo(dian_id,itemId,itemTitle) values(2,'y2','手套');`);
    rows.push(`insert into saleInfo(itemId,amount,sj,buyNum,getNum) values('y1',50,'2010-12-30 10:00:00',2,2);`);
    rows.push(`insert into saleInfo(itemId,amount,sj,buyNum,getNum) values('y2',10,'2011-01-02 14:00:00',3,3);`);
    const sql = `insert into dianbase(id,dianzhu,dianming,updateDate) values(1,'t','测试小店','2012-01-01 00:00:00');
insert into dianbase(id,dianzhu,dianming,updateDate) values(2,'y','跨年小店','2012-01-01 00:00:00');\n${rows.join('\n')}\n`;
    execFileSync('mkdir', ['-p', data]);
    execFileSync(sqlitePath, [join(data, 'lmd_pin.db')], { input: `.read ${schemaPath}\n${sql}` });
}

function analyse(kind, shop = 1) {
    const from = shop === 1 ? '2011-01-01' : '2010-01-01';
    execFileSync(cliPath, ['--data-dir', data, 'analyse', kind, '--shop', String(shop), '--from', from, '--to', '2011-12-31']);
}

// A DevTools protocol connection over --remote-debugging-pipe: JSON messages ended by NUL.
class Browser {
    constructor() {
        this.process = spawn(chromiumPath, [
            '--headless', '--no-sandbox', '--disable-gpu', '--allow-file-access-from-files',
            '--disable-background-networking', '--disable-component-update', '--disable-sync', '--no-first-run',
            '--no-default-browser-check', '--window-size=1200,1600', `--user-data-dir=${join(work, 'profile')}`,
            '--remote-debugging-pipe', 'about:blank',
        ], { stdio: ['ignore', 'ignore', 'ignore', 'pipe', 'pipe'] });
        this.nextId = 1;
        this.pending = new Map();
        let buffer = '';
        this.process.stdio[4].on('data', (chunk) => {
            buffer += chunk.toString('utf8');
            let end;
            while ((end = buffer.indexOf('\0')) >= 0) {
                const message = JSON.parse(buffer.slice(0, end));
                buffer = buffer.slice(end + 1);
                const waiting = this.pending.get(message.id);
                if (waiting) {
                    this.pending.delete(message.id);
                    if (message.error) waiting.reject(new Error(JSON.stringify(message.error)));
                    else waiting.resolve(message.result);
                }
            }
        });
    }

    send(method, params = {}, sessionId = undefined) {
        const id = this.nextId++;
        this.process.stdio[3].write(JSON.stringify({ id, method, params, sessionId }) + '\0');
        return new Promise((resolve, reject) => this.pending.set(id, { resolve, reject }));
    }

    async open(url) {
        const { targetId } = await this.send('Target.createTarget', { url: 'about:blank' });
        const { sessionId } = await this.send('Target.attachToTarget', { targetId, flatten: true });
        await this.send('Page.navigate', { url }, sessionId);
        return sessionId;
    }

    // Evaluates an async function's body in the page and returns its JSON result.
    async evaluate(sessionId, body) {
        const { result, exceptionDetails } = await this.send('Runtime.evaluate', {
            expression: `(async () => { ${body} })()`, awaitPromise: true, returnByValue: true,
        }, sessionId);
        if (exceptionDetails) throw new Error(JSON.stringify(exceptionDetails));
        return result.value;
    }

    // Asks the browser to quit and waits until it has, so its profile folder is no longer written.
    async close() {
        const exited = new Promise((resolve) => this.process.once('exit', resolve));
        const killLater = setTimeout(() => this.process.kill('SIGKILL'), 5000);
        this.send('Browser.close').catch(() => this.process.kill());
        await exited;
        clearTimeout(killLater);
    }
}

// What each chart of the page drew: its caption texts, axis names, series, how many points have a
// drawn element, the axis labels left visible, the tooltip and colour of every point.
const readCharts = `
    while (!window.vantorGallery) await new Promise((r) => setTimeout(r, 20));
    await window.vantorGallery.ready;
    const charts = [...document.querySelectorAll('[data-document]')].map((element) => {
        const chart = echarts.getInstanceByDom(element);
        if (!chart) return { document: element.dataset.document, note: element.textContent };
        const option = chart.getOption();
        const series = chart.getModel().getSeriesByIndex(0);
        const points = series.getData();
        const drawn = [...Array(points.count()).keys()].filter((i) => points.getItemGraphicEl(i)).length;
        const axis = chart.getModel().getComponent('xAxis', 0).axis;
        const visibleLabels = axis.getViewLabels().map((l) => l.formattedLabel).filter((t) => t !== '');
        const tooltips = option.series[0].data.map((point) =>
            option.tooltip[0].formatter({ data: point, value: point.value, name: point.name }));
        const colours = [...Array(points.count()).keys()].map((i) => points.getItemVisual(i, 'style').fill);
        return {
            document: element.dataset.document, type: series.subType, points: points.count(), drawn,
            caption: option.title[0].text, subcaption: option.title[0].subtext,
            xName: option.xAxis[0].name, yName: option.yAxis[0].name,
            axisType: option.xAxis[0].type, names: option.xAxis[0].data, visibleLabels, tooltips, colours,
            values: option.series[0].data.map((p) => (Array.isArray(p.value) ? p.value[1] : p.value)),
        };
    });
    const links = [...document.querySelectorAll('a[href]')].map((a) => a.getAttribute('href'));
    return { charts, links };
`;

const browser = new Browser();
after(async () => {
    await browser.close();
    rmSync(work, { recursive: true, force: true, maxRetries: 5 });
});

fillDatabase();

async function load(page) {
    const session = await browser.open(pathToFileURL(join(data, 'Gallery', page)).href);
    return browser.evaluate(session, readCharts);
}

test('the ranking page names bars by their titles and gives an item one colour in both rankings', async () => {
    analyse('ranking');
    const { charts, links } = await load('saleAnalyse.html');
    assert.deepEqual(links, ['sale://saleCount_/', 'sale://saleAmount_/']);
    assert.deepEqual(charts.map((c) => [c.type, c.points, c.drawn, c.caption, c.subcaption, c.xName, c.yName]), [
        ['bar', 30, 30, '测试小店', '2011-01-01~2011-12-31销售量排行', '商品', '销售数'],
        ['bar', 30, 30, '测试小店', '2011-01-01~2011-12-31销售额排行', '商品', '销售额'],
    ]);
    // Item 30 sold most; item 1 least, its raw title shortened on the axis, whole and escaped in the tooltip.
    const [count, amount] = charts;
    assert.deepEqual(count.names.slice(0, 3), ['商品30', '商品29', '商品28']);
    assert.equal(count.names[29], 'Tom\'s "…');
    assert.deepEqual(count.visibleLabels, count.names);
    assert.deepEqual([count.values[0], count.values[29], amount.values[0]], [30, 1, 300]);
    assert.deepEqual([count.tooltips[0], count.tooltips[29]], ['商品30：30', 'Tom&#39;s &quot;A&amp;B&quot; &lt;包&gt;：1']);
    assert.equal(amount.tooltips[0], '商品30：300.00');
    // Thirty items, thirty colours, the same in both charts.
    assert.equal(new Set(count.colours).size, 30);
    assert.deepEqual(amount.colours, count.colours);

    // Shop 2: the item that sold most pieces is not the one that took most money.
    analyse('ranking', 2);
    const [pieces, money] = (await load('saleAnalyse.html')).charts;
    assert.deepEqual(pieces.names, ['手套', '一件名字特别长…']);
    assert.deepEqual(money.names, ['一件名字特别长…', '手套']);
    assert.deepEqual(money.tooltips, ['一件名字特别长的冬季加厚羽绒服：100.00', '手套：30.00']);
    assert.deepEqual([pieces.colours[0], pieces.colours[1]], [money.colours[1], money.colours[0]]);
    assert.notEqual(pieces.colours[0], pieces.colours[1]);
});

test('the time distribution page shows every hour, weekday and month in natural order, gaps as 0', async () => {
    analyse('time');
    const { charts, links } = await load('saleTimeArea.html');
    assert.deepEqual(links, []);
    assert.deepEqual(charts.map((c) => [c.document, c.type, c.points, c.drawn]), [
        ['saleTimeAreaHour.xml', 'bar', 24, 24],
        ['saleTimeAreaWeek.xml', 'bar', 7, 7],
        ['saleTimeAreaMonth.xml', 'bar', 12, 12],
    ]);
    const [hours, weekdays, months] = charts;
    assert.deepEqual(hours.names, Array.from({ length: 24 }, (_, h) => `${h}点`));
    assert.deepEqual(hours.visibleLabels, hours.names);
    // Item 24 sold at 0 o'clock; items k and k + 24 share the hours 1 to 6.
    assert.deepEqual(hours.values, [1, 2, 2, 2, 2, 2, 2, ...Array(17).fill(1)]);
    assert.deepEqual(weekdays.names, ['星期一', '星期二', '星期三', '星期四', '星期五', '星期六', '星期日']);
    assert.deepEqual(weekdays.visibleLabels, weekdays.names);
    // 1 to 28 March 2011 are four whole weeks from a Tuesday; 2 and 3 March have a second sale.
    assert.deepEqual(weekdays.values, [4, 4, 5, 5, 4, 4, 4]);
    assert.deepEqual(months.names, Array.from({ length: 12 }, (_, m) => `${m + 1}月`));
    assert.deepEqual(months.values, [0, 0, 30, 0, 0, 0, 0, 0, 0, 0, 0, 0]);
    assert.equal(months.tooltips[0], '1月：0');

    analyse('time', 2);
    const [hours2, weekdays2, months2] = (await load('saleTimeArea.html')).charts;
    assert.deepEqual(hours2.values, hours2.names.map((n) => (n === '10点' || n === '14点' ? 1 : 0)));
    assert.deepEqual(weekdays2.values, [0, 0, 0, 1, 0, 0, 1]);
    assert.deepEqual(months2.values, [1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1]);
});

test('the trend page draws days on a time axis with gaps as 0 and the year where the range needs it', async () => {
    analyse('trend');
    const { charts, links } = await load('saleCarrent.html');
    assert.deepEqual(links, ['sale://saleCarrentDay_/', 'sale://saleCarrentWeek_/', 'sale://saleCarrentMonth_/']);
    assert.deepEqual(charts.map((c) => [c.document, c.type, c.points, c.drawn]), [
        ['saleCarrentDay.xml', 'line', 28, 28],
        ['saleCarrentWeek.xml', 'line', 5, 5],
        ['saleCarrentMonth.xml', 'line', 1, 1],
    ]);
    const [days, weeks, months] = charts;
    assert.equal(days.axisType, 'time');
    // 1 March 2011 holds item 28's 28 pieces; 2 March items 1 and 29.
    assert.equal(days.tooltips[0], '2011-3-1,金额：280.00,均价：10.00,销售量：28');
    assert.equal(days.tooltips[1], '2011-3-2,金额：300.00,均价：10.00,销售量：30');
    assert.ok(days.visibleLabels.length >= 4, days.visibleLabels.join());
    assert.ok(days.visibleLabels.every((l) => /^3-\d+$/.test(l)), days.visibleLabels.join());
    assert.deepEqual(weeks.names, ['2011年第10周', '2011年第11周', '2011年第12周', '2011年第13周', '2011年第14周']);
    assert.deepEqual(months.names, ['3月']);
    assert.deepEqual(months.values, [465]);

    // Shop 2: 30 December 2010 to 2 January 2011, the two days between without sales.
    analyse('trend', 2);
    const [days2, weeks2, months2] = (await load('saleCarrent.html')).charts;
    assert.deepEqual([days2.points, days2.drawn], [4, 4]);
    assert.deepEqual(days2.values, [2, 0, 0, 3]);
    assert.equal(days2.tooltips[1], '2010-12-31,无销售,销售量：0');
    assert.ok(days2.visibleLabels.length >= 2, days2.visibleLabels.join());
    assert.ok(days2.visibleLabels.every((l) => /^20(10|11)-\d+-\d+$/.test(l)), days2.visibleLabels.join());
    assert.ok(weeks2.names.every((n) => /^20(10|11)年第\d+周$/.test(n)), weeks2.names.join());
    assert.deepEqual([weeks2.names[0].slice(0, 4), weeks2.names[weeks2.names.length - 1].slice(0, 4)], ['2010', '2011']);
    assert.deepEqual(months2.names, ['2010年12月', '2011年1月']);
});

test('a page whose documents were never written says so instead of drawing', async () => {
    rmSync(join(data, 'gallery', 'saleCarrentWeek.xml'));
    const { charts } = await load('saleCarrent.html');
    assert.equal(charts[1].document, 'saleCarrentWeek.xml');
    assert.match(charts[1].note, /还没有分析结果/);
    assert.equal(charts[0].points, 4); // shop 2's days, the last trend written
});

// The rating pages: every chart's series with the points it drew, the report card, the links.
const readRatingPage = `
    while (!window.vantorGallery) await new Promise((r) => setTimeout(r, 20));
    await window.vantorGallery.ready;
    // Per series: its type and name, the points drawn, and the sum of a bar's or pie's values or the
    // last value of a line.
    const charts = [...document.querySelectorAll('[data-document]')].map((element) => {
        const chart = echarts.getInstanceByDom(element);
        const options = chart.getOption().series;
        return chart.getModel().getSeries().map((s, i) => {
            const data = s.getData();
            const values = options[i].data.map((p) => (typeof p === 'object' ? p.value : p));
            const drawn = values.filter((v, k) => data.getItemGraphicEl(k)).length;
            const figure = s.subType === 'line' ? values[values.length - 1] : values.reduce((a, b) => a + b, 0);
            return [s.subType, options[i].name || '', drawn, figure].join(':');
        });
    });
    const card = [...document.querySelectorAll('.card tbody tr')].map((tr) =>
        [tr.cells[0].textContent, tr.cells[3].textContent, tr.cells[4].querySelector('a').getAttribute('href')]);
    const links = [...document.querySelectorAll('p.links a')].map((a) => a.getAttribute('href'));
    return { charts, card, links };
`;

async function loadRatingPage(page) {
    const session = await browser.open(pathToFileURL(join(data, 'Gallery', page)).href);
    return browser.evaluate(session, readRatingPage);
}

test('the credit page stacks the ratings of every week and month under the cumulative credit', async () => {
    analyse('rating-trend');
    const { charts, links } = await loadRatingPage('Line2D.html');
    assert.deepEqual(links, ['sale://rateTrendWeek_/', 'sale://rateTrendMonth_/']);
    // March 2011: Tuesday the 1st is in week 10, the 31st in week 14.
    assert.deepEqual(charts, [
        ['bar:好评:5:40', 'bar:中评:5:0', 'bar:差评:5:1', 'line:累计信用:5:39'],
        ['bar:好评:1:40', 'bar:中评:1:0', 'bar:差评:1:1', 'line:累计信用:1:39'],
    ]);
});

test('the check page fills its report card and draws price bands, days and the pie', async () => {
    analyse('rating-check');
    const { charts, card, links } = await loadRatingPage('Column2D.html');
    assert.deepEqual(links, ['sale://rateCheck_/', 'sale://ratePrice_/', 'sale://rateBurst_/', 'sale://rateDefault_/']);
    assert.deepEqual(card, [
        ['重复评价买家', '警告', 'sale://rateRepeat_/'],
        ['同日重复评价', '警告', 'sale://rateRepeat_/'],
        ['低价商品评价', '通过', 'sale://ratePrice_/'],
        ['默认好评与空评语', '通过', 'sale://rateDefault_/'],
        ['评价突增日', '通过', 'sale://rateBurst_/'],
    ]);
    assert.deepEqual(charts, [['bar::5:41'], ['bar::31:41'], ['pie::3:41']]);
});
