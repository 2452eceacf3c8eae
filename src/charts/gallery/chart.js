// Draws the charts of a gallery page from the documents the analysis window wrote beside it.
// Every element with data-document names one chart document and data-kind its chart type.
//
// The documents are GBK text that is not well-formed XML (titles go in with their quotes and "&"
// unescaped), so they are read line by line here instead of by an XML parser: one element per line,
// and an attribute value ends only at a quote followed by the next attribute or the end of the tag.
(function () {
    'use strict';

    var FONT = "'Noto Sans CJK SC', 'Microsoft YaHei', 'SimSun', sans-serif";

    // Reads a file of this page's folder; resolves to null when it is missing. file:// pages cannot
    // use fetch(), XMLHttpRequest works where the browser grants file access.
    function readDocument(name) {
        return new Promise(function (resolve) {
            var request = new XMLHttpRequest();
            request.open('GET', name + '?t=' + Date.now());
            request.responseType = 'arraybuffer';
            request.onload = function () {
                var ok = request.status === 0 || (request.status >= 200 && request.status < 300);
                resolve(ok && request.response ? new TextDecoder('gbk').decode(request.response) : null);
            };
            request.onerror = function () { resolve(null); };
            try {
                request.send();
            } catch (e) {
                resolve(null);
            }
        });
    }

    // Attribute names are compared without regard to letter case, as the documents mix them.
    function parseAttributes(text) {
        var attributes = {};
        var pattern = /([A-Za-z_][\w.-]*)\s*=\s*'([\s\S]*?)'(?=\s+[A-Za-z_][\w.-]*\s*=\s*'|\s*$)/g;
        var match;
        while ((match = pattern.exec(text)) !== null) attributes[match[1].toLowerCase()] = match[2];
        return attributes;
    }

    function parseChartDocument(text) {
        var graph = null;
        var sets = [];
        text.split(/\r?\n/).forEach(function (line) {
            var match = /^\s*<(graph|set)\b([\s\S]*?)\/?>\s*$/i.exec(line);
            if (!match) return;
            var attributes = parseAttributes(match[2]);
            if (match[1].toLowerCase() === 'graph') graph = attributes;
            else sets.push(attributes);
        });
        return graph ? { graph: graph, sets: sets } : null;
    }

    function numberOr(text, fallback) {
        var value = parseFloat(text);
        return isNaN(value) ? fallback : value;
    }

    function colour(hex, alphaPercent) {
        var value = parseInt(hex, 16);
        if (isNaN(value)) return undefined;
        var alpha = alphaPercent === undefined ? 1 : alphaPercent / 100;
        return 'rgba(' + (value >> 16 & 255) + ',' + (value >> 8 & 255) + ',' + (value & 255) + ',' + alpha + ')';
    }

    function formatValue(value, decimals) {
        return isFinite(value) ? Number(value).toFixed(decimals) : '';
    }

    // A pie: the short start tag, one slice a point.
    function pieOption(doc) {
        return {
            animation: false,
            textStyle: { fontFamily: FONT },
            tooltip: { trigger: 'item', formatter: '{b}：{c}（{d}%）' },
            legend: { top: 8 },
            series: [{
                type: 'pie',
                radius: '60%',
                top: 30,
                data: doc.sets.map(function (set) { return { name: set.name, value: numberOr(set.value, 0) }; })
            }]
        };
    }

    // Credit growth: good, neutral and bad ratings stacked per period, the cumulative credit as a line.
    function creditSeries(option, doc) {
        var stack = [['good', '好评', '#26a269'], ['neutral', '中评', '#e5a50a'], ['bad', '差评', '#c01c28']];
        option.series = stack.map(function (s) {
            return {
                type: 'bar', stack: 'ratings', name: s[1], itemStyle: { color: s[2] },
                data: doc.sets.map(function (set) { return numberOr(set[s[0]], 0); })
            };
        });
        option.series.push({
            type: 'line', name: '累计信用', yAxisIndex: 1, itemStyle: { color: '#1a5fb4' },
            data: doc.sets.map(function (set) { return numberOr(set.cumulative, 0); })
        });
        option.yAxis = [option.yAxis, { type: 'value', name: '累计信用', scale: true, splitLine: { show: false } }];
        option.yAxis[0].name = '评价数';
        option.legend = { top: 64 };
        option.grid.top = 112;
        option.tooltip = { trigger: 'axis' };
        return option;
    }

    function chartOption(doc, kind) {
        if (kind === 'pie') return pieOption(doc);
        var g = doc.graph;
        var fontSize = numberOr(g.basefontsize, 12);
        var decimals = Math.max(0, Math.min(10, numberOr(g.decimalprecision, 2)));
        var showNames = g.shownames !== '0';
        var names = doc.sets.map(function (set) { return set.name === undefined ? '' : set.name; });
        var hidden = doc.sets.map(function (set) { return set.showname === '0'; });
        var points = doc.sets.map(function (set, i) {
            var point = { value: numberOr(set.value, 0), name: names[i], hoverText: set.hovertext };
            if (set.burst === '1') point.itemStyle = { color: '#c01c28' };
            return point;
        });
        var divLine = colour(g.divlinecolor, numberOr(g.divlinealpha, 100));
        var band = colour(g.alternatehgridcolor, numberOr(g.alternatehgridalpha, 100));
        var option = {
            animation: false,
            textStyle: { fontFamily: FONT, fontSize: fontSize },
            title: {
                text: g.caption || '',
                subtext: g.subcaption || '',
                left: 'center',
                textStyle: { fontFamily: FONT, fontSize: fontSize + 4 },
                subtextStyle: { fontFamily: FONT, fontSize: fontSize }
            },
            tooltip: {
                trigger: 'item',
                formatter: function (p) {
                    var label = p.data.hoverText !== undefined ? p.data.hoverText : p.name;
                    var value = Array.isArray(p.value) ? p.value[1] : p.value;
                    return echarts.format.encodeHTML(label) + '：' + formatValue(value, decimals);
                }
            },
            grid: { left: 20, right: numberOr(g.chartrightmargin, 30), top: 80, bottom: 40, containLabel: true },
            xAxis: {
                type: 'category',
                data: names,
                name: g.xaxisname || '',
                nameLocation: 'middle',
                nameGap: 28,
                axisLabel: {
                    show: showNames,
                    interval: 0,
                    hideOverlap: false,
                    formatter: function (value, index) { return hidden[index] ? '' : value; }
                }
            },
            yAxis: {
                type: 'value',
                name: g.yaxisname || '',
                minInterval: decimals === 0 ? 1 : 0,
                axisLabel: { formatter: function (value) { return String(value); } },
                splitLine: { lineStyle: { color: divLine } },
                splitArea: { show: g.showalternatehgridcolor === '1', areaStyle: { color: ['rgba(0,0,0,0)', band] } }
            },
            series: [{
                type: kind === 'line' ? 'line' : 'bar',
                data: points,
                showSymbol: true,
                label: { show: g.showvalues === '1' },
                itemStyle: { color: kind === 'line' ? '#d94e10' : '#3b7dc4' }
            }],
            graphic: points.length ? [] : [{
                type: 'text', left: 'center', top: 'middle',
                style: { text: '所选日期内没有记录', fontFamily: FONT, fontSize: fontSize + 2, fill: '#999' }
            }]
        };
        return kind === 'credit' ? creditSeries(option, doc) : option;
    }

    // How a page presents a document's points (data-present): the documents keep the order and the
    // names the analyses wrote, the reader gets natural order, gaps as zero and readable names.

    // Time distribution: every hour, weekday or month in its natural order, one without sales as 0.
    // The documents name weekdays 1 = Sunday … 7 = Saturday.
    var SLOTS = {
        hours: {
            pattern: /^(\d+)点$/,
            slots: Array.from({ length: 24 }, function (_, h) { return [h, h + '点']; })
        },
        weekdays: {
            pattern: /^星期(\d)$/,
            slots: [[2, '星期一'], [3, '星期二'], [4, '星期三'], [5, '星期四'], [6, '星期五'], [7, '星期六'], [1, '星期日']]
        },
        months: {
            pattern: /^(\d+)月$/,
            slots: Array.from({ length: 12 }, function (_, m) { return [m + 1, (m + 1) + '月']; })
        }
    };

    function presentSlots(option, doc, slots) {
        var counts = {};
        doc.sets.forEach(function (set) {
            var match = slots.pattern.exec(set.name || '');
            if (match) counts[+match[1]] = (counts[+match[1]] || 0) + numberOr(set.value, 0);
        });
        var names = slots.slots.map(function (slot) { return slot[1]; });
        option.xAxis.data = names;
        option.xAxis.axisLabel.formatter = undefined;
        option.series[0].data = slots.slots.map(function (slot) {
            return { value: counts[slot[0]] || 0, name: slot[1], hoverText: slot[1] };
        });
        option.graphic = [];
        return option;
    }

    // The period a trend point stands for, as its hover text starts: "2011-3-1", "2011年第10周", "2011年3月".
    function periodOf(set) {
        return String(set.hovertext || '').split(',')[0];
    }

    // Daily trend on a time axis: every day of the range is a point, a day without sales is 0; the
    // labels carry the year when the range spans years.
    function presentDays(option, doc) {
        var sales = {};
        var first = null;
        var last = null;
        doc.sets.forEach(function (set) {
            var match = /^(\d{4})-(\d{1,2})-(\d{1,2})$/.exec(periodOf(set));
            if (!match) return;
            var day = new Date(+match[1], +match[2] - 1, +match[3]);
            sales[day.getTime()] = { value: numberOr(set.value, 0), hoverText: set.hovertext };
            if (first === null || day < first) first = day;
            if (last === null || day > last) last = day;
        });
        if (first === null) return option;
        var spansYears = first.getFullYear() !== last.getFullYear();
        var points = [];
        for (var day = new Date(first); day <= last; day.setDate(day.getDate() + 1)) {
            var text = day.getFullYear() + '-' + (day.getMonth() + 1) + '-' + day.getDate();
            var sale = sales[day.getTime()] || { value: 0, hoverText: text + ',无销售,销售量' };
            points.push({ value: [day.getTime(), sale.value], hoverText: sale.hoverText });
        }
        option.xAxis = {
            type: 'time',
            name: option.xAxis.name,
            nameLocation: 'middle',
            nameGap: 28,
            minInterval: 86400000,
            axisLabel: {
                hideOverlap: true,
                formatter: function (value) {
                    var d = new Date(value);
                    return (spansYears ? d.getFullYear() + '-' : '') + (d.getMonth() + 1) + '-' + d.getDate();
                }
            }
        };
        option.series[0].data = points;
        option.series[0].showSymbol = points.length <= 62;
        return option;
    }

    // Weeks always with their year ("2025年第53周": week numbers restart every year); months with the
    // year when the range spans years.
    function presentPeriods(option, doc, withYear) {
        var periods = doc.sets.map(periodOf);
        var years = periods.map(function (p) { return (/^(\d{4})年/.exec(p) || [])[1]; });
        var spansYears = years.some(function (y) { return y !== years[0]; });
        var names = periods.map(function (p, i) {
            if (withYear || spansYears) return p;
            return p.replace(/^\d{4}年/, '');
        });
        option.xAxis.data = names;
        option.xAxis.axisLabel.interval = 'auto';
        option.xAxis.axisLabel.hideOverlap = true;
        option.xAxis.axisLabel.formatter = undefined;
        option.series[0].data.forEach(function (point, i) { point.name = names[i]; });
        return option;
    }

    // Rankings: a bar is named by its item's title, shortened on the axis and whole in the tooltip;
    // an item keeps its colour in every ranking of the page.
    function shortTitle(title) {
        var chars = Array.from(title);
        return chars.length > 8 ? chars.slice(0, 7).join('') + '…' : title;
    }

    function itemColour(index) {
        var palette = ['#3b7dc4', '#d94e10', '#26a269', '#9141ac', '#e5a50a', '#c01c28', '#1c71d8', '#63452c',
                       '#2ec27e', '#e66100', '#613583', '#865e3c'];
        if (index < palette.length) return palette[index];
        return 'hsl(' + Math.round((index * 137.508) % 360) + ',55%,' + (index % 2 ? 42 : 58) + '%)';
    }

    function presentRanking(option, doc, colours, money) {
        var titles = doc.sets.map(function (set) { return set.hovertext !== undefined ? set.hovertext : (set.name || ''); });
        option.xAxis.data = titles.map(shortTitle);
        option.xAxis.axisLabel.formatter = undefined;
        option.xAxis.axisLabel.rotate = 40;
        option.xAxis.axisLabel.interval = 0;
        // The slanted titles take the room under the axis; its name goes to its end.
        option.xAxis.nameLocation = 'end';
        option.xAxis.nameGap = 8;
        option.grid.bottom = 24;
        option.grid.right = Math.max(option.grid.right, 48);
        option.series[0].data.forEach(function (point, i) {
            if (!(titles[i] in colours)) colours[titles[i]] = itemColour(Object.keys(colours).length);
            point.name = option.xAxis.data[i];
            point.hoverText = titles[i];
            point.itemStyle = { color: colours[titles[i]] };
        });
        if (money) {
            option.tooltip.formatter = function (p) {
                return echarts.format.encodeHTML(p.data.hoverText) + '：' + formatValue(p.value, 2);
            };
            option.yAxis.minInterval = 0;
        }
        return option;
    }

    function present(option, doc, element, colours) {
        var how = element.dataset.present;
        if (SLOTS[how]) return presentSlots(option, doc, SLOTS[how]);
        if (how === 'trend-days') return presentDays(option, doc);
        if (how === 'trend-weeks') return presentPeriods(option, doc, true);
        if (how === 'trend-months') return presentPeriods(option, doc, false);
        if (how === 'ranking' || how === 'ranking-amount') return presentRanking(option, doc, colours, how === 'ranking-amount');
        return option;
    }

    // A list document's rows: one object per "sale" block, its elements by their names.
    function parseListDocument(text) {
        var rows = [];
        var row = null;
        text.split(/\r?\n/).forEach(function (line) {
            if (/^\s*<sale>\s*$/.test(line)) row = {};
            else if (/^\s*<\/sale>\s*$/.test(line)) { if (row) rows.push(row); row = null; }
            else {
                var match = /^\s*<([^>\/]+)>([\s\S]*)<\/\1>\s*$/.exec(line);
                if (row && match) row[match[1]] = match[2];
            }
        });
        return rows;
    }

    // The report card: every line with its figure, threshold, verdict and the link to its evidence.
    function drawCard(table) {
        return readDocument(table.dataset.card).then(function (text) {
            var rows = text === null ? [] : parseListDocument(text);
            if (!rows.length) {
                var note = table.insertRow().insertCell();
                note.textContent = '还没有分析结果：请选择店铺和日期，按“分析”。';
                return;
            }
            var head = table.createTHead().insertRow();
            ['项目', '数值', '阈值', '结论', '证据'].forEach(function (title) {
                var th = document.createElement('th');
                th.textContent = title;
                head.appendChild(th);
            });
            var body = table.createTBody();
            rows.forEach(function (row) {
                var tr = body.insertRow();
                ['项目', '数值', '阈值', '结论'].forEach(function (name) { tr.insertCell().textContent = row[name] || ''; });
                tr.cells[3].className = row['结论'] === '警告' ? 'warn' : 'pass';
                var link = document.createElement('a');
                link.href = row['证据'] || '#';
                link.textContent = '导出明细';
                tr.insertCell().appendChild(link);
            });
        });
    }

    function showNote(element, text) {
        element.classList.add('empty');
        element.textContent = text;
    }

    // colours: the item colours of the page, shared by its charts and filled in page order.
    function drawChart(element, text, colours) {
        var doc = text === null ? null : parseChartDocument(text);
        if (!doc) {
            showNote(element, '还没有分析结果：请选择店铺和日期，按“分析”。');
            return null;
        }
        var chart = echarts.init(element);
        chart.setOption(present(chartOption(doc, element.dataset.kind), doc, element, colours));
        window.addEventListener('resize', function () { chart.resize(); });
        return chart;
    }

    var ready = new Promise(function (resolve) {
        document.addEventListener('DOMContentLoaded', function () {
            var elements = Array.prototype.slice.call(document.querySelectorAll('[data-document]'));
            var cards = Array.prototype.slice.call(document.querySelectorAll('[data-card]'));
            if (typeof echarts === 'undefined') {
                elements.forEach(function (element) { showNote(element, '图表组件 echarts.min.js 缺失，无法绘图。'); });
                resolve([]);
                return;
            }
            Promise.all(cards.map(drawCard)).then(function () {
                return Promise.all(elements.map(function (element) { return readDocument(element.dataset.document); }));
            }).then(function (texts) {
                var colours = {};
                return elements.map(function (element, i) { return drawChart(element, texts[i], colours); });
            }).then(resolve);
        });
    });

    var drawn = [];
    ready.then(function (charts) { drawn = charts.filter(Boolean); });

    // Every chart of the page as one PNG (a data address), each where it stands, however far the page
    // scrolls; null while nothing is drawn or where the page also holds cards, which are not charts.
    function pagePicture() {
        if (!drawn.length || document.querySelector('[data-card]')) return null;
        drawn.forEach(function (chart) { chart.group = 'vantorPage'; });
        echarts.connect('vantorPage');
        try {
            return drawn[0].getConnectedDataURL({ type: 'png', backgroundColor: '#ffffff',
                                                  pixelRatio: window.devicePixelRatio || 1 });
        } finally {
            // Connected charts would share their tooltips and zooms.
            echarts.disconnect('vantorPage');
            drawn.forEach(function (chart) { chart.group = ''; });
        }
    }

    window.vantorGallery = {
        ready: ready,
        parseChartDocument: parseChartDocument,
        pagePicture: pagePicture
    };
})();
