// The page of a recording, or of two laid over each other. The data stands in the document; nothing is fetched. A server's
// page begins empty, and is fed: see "live".
//
// Time is in milliseconds from a recording's start, so that two recordings lie over each other and the wall
// clock may step. Where more samples than pixels are in view, they are drawn as the mean of each bucket of time
// with a band from the least to the greatest; a bucket in which nothing was read is a gap.
(() => {
  'use strict';

  const data = JSON.parse(document.getElementById('data').textContent);
  const recordings = data.recordings;
  const several = recordings.length > 1;
  const kMostVisible = 6;  // series of a chart that are shown at first; the others are a click away
  const kPixelsInBucket = 2;
  const kGapIntervals = 1.5;  // a step of time longer than this many intervals is one in which no sample was taken
  const kLightInks = ['#0b62c4', '#c44f00', '#00805f', '#a83279', '#7a5c00', '#5b4bc4', '#007a99', '#b3261e'];
  const kDarkInks = ['#6cb2ff', '#ff9d57', '#4fd1a5', '#f08cc8', '#e0c14f', '#b0a5ff', '#5fd0ea', '#ff8a80'];
  const kDashes = [null, [6, 3]];  // the second recording's lines are broken

  const dark = matchMedia('(prefers-color-scheme: dark)');
  const inks = () => (dark.matches ? kDarkInks : kLightInks);
  const style = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

  function element(name, attributes, ...children) {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes || {})) {
      if (key === 'class') made.className = value;
      else made[key] = value;
    }
    made.append(...children);
    return made;
  }

  // The legend of the package measures itself by inline styles, which the page's policy refuses: see addKey().
  Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);

  // -- figures as text

  const kPrefixes = ['', 'Ki', 'Mi', 'Gi', 'Ti'];

  function figure(value, format, decimals = format.decimals) {
    let shown = value * format.scale;
    if (!format.prefixes) return shown.toFixed(decimals) + format.shown;
    let prefix = 0;
    while (Math.abs(shown) >= 1024 && prefix + 1 < kPrefixes.length) {
      shown /= 1024;
      ++prefix;
    }
    return shown.toFixed(prefix === 0 ? 0 : decimals) + ' ' + kPrefixes[prefix] + format.shown;
  }

  const two = (number) => String(number).padStart(2, '0');

  function sinceStart(ms) {
    const seconds = Math.floor(ms / 1000);
    const rest = Math.round(ms - seconds * 1000);
    const text = Math.floor(seconds / 3600) + ':' + two(Math.floor(seconds / 60) % 60) + ':' + two(seconds % 60);
    return rest === 0 ? text : text + '.' + String(rest).padStart(3, '0');
  }

  // The wall clock at a sample: a board's is set after its start, so that the difference to its other clock changes.
  function wallClock(recording, index) {
    let offset = null;
    for (const [from, value] of recording.wall) if (from <= index) offset = value;
    if (offset === null) return '';
    return new Date(recording.times[index] + offset).toLocaleString('sv');  // 2026-11-21 18:36:22, in local time
  }

  // -- series

  function indexAt(times, time) {  // of the first that is not before
    let low = 0;
    let high = times.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (times[middle] < time) low = middle + 1;
      else high = middle;
    }
    return low;
  }

  const valueAt = (series, index) => {
    const value = series.values[index - series.first];
    return value === undefined ? null : value;
  };

  // Charts of the same figure of both recordings are one.
  function joinCharts() {
    const joined = new Map();
    recordings.forEach((recording, number) => {
      for (const chart of recording.charts) {
        const known = joined.get(chart.key) || {...chart, series: []};
        joined.set(chart.key, known);
        for (const series of chart.series) {
          known.series.push({
            ...series, recording, number,
            name: several ? recording.name + ': ' + series.name : series.name,
          });
        }
      }
    });
    for (const chart of joined.values()) {
      if (several) chart.series = sideBySide(chart.series);
      chart.visible = firstShown(chart.series);
    }
    return [...joined.values()];
  }

  // The same item of each recording next to each other, of one colour.
  function sideBySide(series) {
    const items = new Map();
    for (const one of series) {
      const item = one.figure + ' ' + one.item;
      items.set(item, [...(items.get(item) || []), one]);
    }
    return [...items.values()].flatMap((same, ink) => same.map((one) => ({...one, ink})));
  }

  // What stands for all is shown first, single cores on demand. Where it is not their mean but their sum, or where
  // there is none, the largest items are shown too.
  function firstShown(series) {
    const meanOf = (one) => statistics(one).mean || 0;
    const items = series.filter((one) => !one.whole);
    const largest = items.sort((a, b) => meanOf(b) - meanOf(a)).slice(0, kMostVisible);
    const wholes = series.filter((one) => one.whole);
    const isMean = wholes.length > 0 && largest.length > 0 && meanOf(wholes[0]) <= meanOf(largest[0]);
    const shown = new Set(isMean ? wholes : [...wholes, ...largest]);
    return series.map((one) => shown.has(one));
  }

  function statistics(series) {
    if (series.statistics) return series.statistics;
    const values = series.values.filter((value) => value !== null).sort((a, b) => a - b);
    if (values.length === 0) return {samples: 0};
    const place = (values.length - 1) * 0.95;
    const low = Math.floor(place);
    const high = Math.min(low + 1, values.length - 1);
    series.statistics = {
      samples: values.length,
      mean: values.reduce((sum, value) => sum + value, 0) / values.length,
      p95: values[low] + (values[high] - values[low]) * (place - low),
      max: values[values.length - 1],
    };
    return series.statistics;
  }

  // -- what is in view

  function wholeOf() {
    const starts = recordings.map((one) => one.times[0] || 0);
    const ends = recordings.map((one) => (one.times.length ? one.times[one.times.length - 1] : 0));
    const start = data.live ? starts[0] : Math.min(0, ...starts);
    return [start, Math.max(start + 1, ...ends)];
  }

  let whole = wholeOf();
  let view = whole;

  // The rows of the view: moments, each with the samples of each recording that it stands for. The ends of the whole
  // stay among them, since a chart zooms out to what it was given.
  function momentsOf([from, to], width) {
    const buckets = Math.max(50, Math.floor(width / kPixelsInBucket));
    const ranges = recordings.map((one) => [Math.max(0, indexAt(one.times, from) - 1),
                                            Math.min(one.times.length, indexAt(one.times, to) + 1)]);
    const most = Math.max(...ranges.map(([first, last]) => last - first));
    return most > 2 * buckets ? bucketsOf(ranges, from, to, buckets) : samplesOf(ranges);
  }

  function samplesOf(ranges) {
    const rows = new Map();
    recordings.forEach((recording, number) => {
      const [first, last] = ranges[number];
      for (let index = first; index < last; ++index) {
        const time = recording.times[index];
        if (index > first && time - recording.times[index - 1] > kGapIntervals * recording.interval_ms) {
          addBreak(rows, recording.times[index - 1] + recording.interval_ms, number);
        }
        rowAt(rows, time)[number] = [index, index + 1];
      }
    });
    return sorted(rows);
  }

  function bucketsOf(ranges, from, to, count) {
    const width = (to - from) / count;
    const rows = new Map();
    recordings.forEach((recording, number) => {
      let [index, last] = ranges[number];
      while (index < last) {
        const bucket = Math.floor((recording.times[index] - from) / width);
        const start = index;
        while (index < last && Math.floor((recording.times[index] - from) / width) === bucket) ++index;
        rowAt(rows, from + (bucket + 0.5) * width)[number] = [start, index];
        const next = index < last ? recording.times[index] - recording.times[index - 1] : 0;
        if (next > Math.max(width, kGapIntervals * recording.interval_ms)) {
          addBreak(rows, recording.times[index - 1] + recording.interval_ms, number);
        }
      }
    });
    return sorted(rows);
  }

  function rowAt(rows, time) {
    if (!rows.has(time)) rows.set(time, []);
    return rows.get(time);
  }
  const addBreak = (rows, time, number) => { rowAt(rows, time)[number] = 'break'; };
  const sorted = (rows) => [...rows].sort((a, b) => a[0] - b[0]);

  // Dygraphs draws over null, and leaves a gap at NaN.
  function band(series, span) {
    if (span === undefined) return null;
    if (span === 'break') return [NaN, NaN, NaN];
    let sum = 0;
    let count = 0;
    let low = Infinity;
    let high = -Infinity;
    for (let index = span[0]; index < span[1]; ++index) {
      const value = valueAt(series, index);
      if (value === null) continue;
      sum += value;
      ++count;
      low = Math.min(low, value);
      high = Math.max(high, value);
    }
    return count === 0 ? [NaN, NaN, NaN] : [low, sum / count, high];
  }

  function rowsOf(chart) {
    const rows = moments.map(([time, spans]) => [time, ...chart.series.map((one) => band(one, spans[one.number]))]);
    const nothing = chart.series.map(() => null);
    if (rows.length === 0 || rows[0][0] > whole[0]) rows.unshift([whole[0], ...nothing]);
    if (rows[rows.length - 1][0] < whole[1]) rows.push([whole[1], ...nothing]);
    return rows;
  }

  // -- charts

  const charts = joinCharts();
  let moments = [];
  let follows = false;  // one chart's change of view is being carried to the others

  function coloursOf(chart) {
    return chart.series.map((one, at) => inks()[(several ? one.ink : at) % inks().length]);
  }

  function optionsOf(chart) {
    const options = {
      labels: ['time', ...chart.series.map((_, at) => 's' + at)],
      colors: coloursOf(chart),
      visibility: chart.visible,
      series: {},
      axes: {
        x: {axisLabelFormatter: (time) => sinceStart(Number(time)), ticker: Dygraph.dateTicker, pixelsPerLabel: 60},
        y: {axisLabelFormatter: (value) => figure(value, chart.format, axisDecimals(chart)), axisLabelWidth: 74,
            labelsKMG2: chart.format.prefixes},
      },
      axisLineColor: style('--line'),
      gridLineColor: style('--line'),
    };
    chart.series.forEach((one, at) => { options.series['s' + at] = {strokePattern: kDashes[one.number] || null}; });
    return options;
  }

  const axisDecimals = (chart) => (chart.format.prefixes ? 1 : Math.min(chart.format.decimals, 2));

  function addChart(chart, parent) {
    const plot = element('div', {class: 'plot'});
    const keys = element('ul', {class: 'keys'});
    const box = element('div', {class: 'chart', title: chart.description}, element('h3', {}, chart.title), plot, keys);
    if (chart.box) {
      chart.plot.destroy();
      chart.box.replaceWith(box);
    } else {
      parent.append(box);
    }
    chart.box = box;
    chart.plot = new Dygraph(plot, rowsOf(chart), {
      ...optionsOf(chart),
      customBars: true,
      connectSeparatedPoints: true,
      includeZero: true,
      labelsUTC: true,
      strokeWidth: 1.4,
      fillAlpha: 0.25,
      highlightCircleSize: 2.5,
      animatedZooms: false,
      xRangePad: 4,
      dateWindow: view,
      drawCallback: (drawn, first) => { if (!first) follow(drawn); },
      highlightCallback: (event, time) => select(time),
      unhighlightCallback: () => select(null),
    });
    chart.keys = chart.series.map((one, at) => addKey(chart, one, at, keys));
    keys.hidden = chart.series.length === 1 && !chart.series[0].item;
    paintKeys(chart);
  }

  function paintKeys(chart) {
    coloursOf(chart).forEach((colour, at) => { chart.keys[at].mark.style.background = colour; });
  }

  function addKey(chart, series, at, keys) {
    const box = element('input', {type: 'checkbox', checked: chart.visible[at]});
    const mark = element('span', {class: 'mark'});
    const value = element('span', {class: 'value'});
    const label = element('label', {class: chart.visible[at] ? '' : 'hidden'}, box, mark, series.name, value);
    box.addEventListener('change', () => {
      chart.visible[at] = series.chosen = box.checked;
      label.className = box.checked ? '' : 'hidden';
      chart.plot.setVisibility(at, box.checked);
    });
    keys.append(element('li', {}, label));
    return {mark, value};
  }

  // One zoom for all: the others take the view of the one that was drawn anew.
  function follow(drawn) {
    const [from, to] = drawn.xAxisRange();
    if (follows || (Math.abs(from - view[0]) < 1e-6 && Math.abs(to - view[1]) < 1e-6)) return;
    show([Math.max(whole[0], from), Math.min(whole[1], to)]);
  }

  function show(range) {
    view = range[1] > range[0] ? range : whole;
    follows = true;
    moments = momentsOf(view, charts.length ? charts[0].plot.width_ : 600);
    for (const chart of charts) chart.plot.updateOptions({file: rowsOf(chart), dateWindow: view, valueRange: null});
    follows = false;
    document.getElementById('whole').disabled = view[0] === whole[0] && view[1] === whole[1];
  }

  // -- one cursor for all

  function nearest(times, time) {
    const after = indexAt(times, time);
    if (after === 0) return times.length ? 0 : -1;
    if (after === times.length) return after - 1;
    return time - times[after - 1] <= times[after] - time ? after - 1 : after;
  }

  function select(time) {
    if (follows) return;
    follows = true;
    const at = time === null ? null : recordings.map((one) => nearest(one.times, time));
    for (const chart of charts) {
      if (time === null) chart.plot.clearSelection();
      else selectIn(chart, time);
      chart.series.forEach((one, number) => {
        const value = at && at[one.number] >= 0 ? valueAt(one, at[one.number]) : null;
        chart.keys[number].value.textContent = at ? (value === null ? 'not read' : figure(value, chart.format)) : '';
      });
    }
    sayWhen(time, at);
    sayGaps(at);
    follows = false;
  }

  function selectIn(chart, time) {
    for (let row = 0; row < chart.plot.numRows(); ++row) {
      if (chart.plot.getValue(row, 0) === time) return chart.plot.setSelection(row);
    }
    return undefined;
  }

  function sayWhen(time, at) {
    const words = at ? [sinceStart(recordings[0].times[Math.max(0, at[0])] || 0)] : [];
    if (at && !several) words.push(wallClock(recordings[0], at[0]));
    document.getElementById('when').textContent = words.filter(Boolean).join('   ');
  }

  function sayGaps(at) {
    for (const section of data.sections) {
      const found = [];
      recordings.forEach((recording, number) => {
        for (const gap of at ? recording.gaps : []) {
          if (gap.section !== section.name || gap.from > at[number] || gap.to < at[number]) continue;
          found.push((several ? recording.name + ': ' : '') + 'not read: ' + gap.what + ': ' + gap.reason);
        }
      });
      section.line.textContent = found.join('\n');
    }
  }

  // -- the document

  function addFacts() {
    document.getElementById('title').textContent = data.title;
    document.getElementById('facts').replaceChildren();
    for (const recording of recordings) {
      const facts = element('dl', {class: 'facts'});
      for (const [name, text] of recording.facts) {
        facts.append(element('div', {}, element('dt', {}, name), element('dd', {}, text)));
      }
      document.getElementById('facts').append(facts);
    }
  }

  function addSections() {
    for (const section of data.sections) {
      const own = charts.filter((chart) => chart.section === section.name);
      addSection(section);
      for (const chart of own) addChart(chart, section.grid);
      if (own.length === 0) section.grid.replaceWith(element('p', {class: 'nothing'}, 'Nothing was read.'));
    }
  }

  function addSection(section) {
    section.grid = element('div', {class: 'charts'});
    section.line = element('p', {class: 'gaps'});
    section.list = element('div', {}, ...gapList(section));
    const box = element('section', {id: section.name}, element('h2', {}, section.title), section.grid, section.line,
                        section.list);
    document.getElementById('sections').append(box);
  }

  // On paper there is no cursor: what was not read, and when, stands below the charts too.
  function gapList(section) {
    const list = element('ul', {});
    recordings.forEach((recording) => {
      for (const gap of recording.gaps.filter((one) => one.section === section.name)) {
        const first = gap.from === 0 ? 0 : recording.times[gap.from - 1];
        const when = sinceStart(first) + ' to ' + sinceStart(recording.times[gap.to]);
        list.append(element('li', {}, (several ? recording.name + ': ' : '') + when + ': ' + gap.what + ': ' + gap.reason));
      }
    });
    const count = list.childElementCount;
    if (count === 0) return [];
    return [element('details', {}, element('summary', {}, 'Not read: ' + count + (count === 1 ? ' time' : ' times')), list)];
  }

  function addSummary() {
    const body = document.getElementById('summary');
    body.replaceChildren();
    for (const chart of charts) {
      chart.series.forEach((one) => {
        const found = statistics(one);
        const numbers = found.samples ? [found.mean, found.p95, found.max].map((value) => figure(value, chart.format))
                                      : ['-', '-', '-'];
        const label = (several ? one.recording.name + ' ' : '') + one.item;
        const cells = [one.figure, label, ...numbers, String(found.samples),
                       String(one.recording.times.length - found.samples)];
        body.append(element('tr', {}, ...cells.map((text) => element('td', {}, text))));
      });
    }
  }

  // -- live: samples come piece by piece, each piece a small recording, and the oldest go

  const kDrawMs = 500;      // from one drawing to the next
  const kSummaryMs = 2000;  // and from a drawing to its summary, which sorts all that there is
  const kWallStepMs = 1;    // the two clocks are read one after the other

  function live() {
    const recording = recordings[0];
    let drawing = null;
    let summing = null;
    let taken = 0;

    function forget() {
      for (const chart of charts.filter((one) => one.plot)) chart.plot.destroy();
      charts.length = 0;
      data.sections.length = 0;
      document.getElementById('sections').replaceChildren();
      Object.assign(recording, {times: [], wall: [], gaps: []});
      taken = 0;
    }

    function take({title, sections, recording: piece}) {
      const before = recording.times.length;
      data.title = title || data.live.board;
      recording.interval_ms = piece.interval_ms;
      recording.facts = piece.facts.filter(([name]) => name !== 'samples' && name !== 'start');
      recording.times.push(...piece.times);
      for (const [at, offset] of piece.wall) {
        const last = recording.wall[recording.wall.length - 1];
        if (!last || Math.abs(last[1] - offset) > kWallStepMs) recording.wall.push([before + at, offset]);
      }
      for (const gap of piece.gaps) takeGap({...gap, from: before + gap.from, to: before + gap.to});
      for (const section of sections) {
        if (data.sections.some((one) => one.name === section.name)) continue;
        data.sections.push(section);
        addSection(section);
      }
      for (const chart of piece.charts) takeChart(chart, before);
      taken += piece.times.length;
      trim();
    }

    // What lasts from one piece to the next is one gap.
    function takeGap(gap) {
      const same = recording.gaps.find((one) => one.section === gap.section && one.what === gap.what &&
                                       one.reason === gap.reason && one.to + 1 === gap.from);
      if (same) same.to = gap.to;
      else recording.gaps.push(gap);
    }

    function takeChart(piece, before) {
      let chart = charts.find((one) => one.key === piece.key);
      if (!chart) {
        chart = {...piece, series: []};
        charts.push(chart);
      }
      for (const one of piece.series) {
        const first = before + one.first;
        let series = chart.series.find((known) => known.figure === one.figure && known.item === one.item);
        if (!series) {
          series = {...one, recording, number: 0, first, values: []};
          chart.series.push(series);
          chart.isChanged = true;
        }
        while (series.first + series.values.length < first) series.values.push(null);
        series.values.push(...one.values);
        series.statistics = null;
      }
    }

    // In steps of a tenth, since all indices move.
    function trim() {
      const times = recording.times;
      const old = indexAt(times, times[times.length - 1] - data.live.keep_ms);
      if (old <= times.length / 10) return;
      times.splice(0, old);
      const offset = recording.wall.filter(([from]) => from <= old).pop();
      recording.wall = recording.wall.filter(([from]) => from > old).map(([from, value]) => [from - old, value]);
      if (offset) recording.wall.unshift([0, offset[1]]);
      recording.gaps = recording.gaps.filter((gap) => gap.to >= old)
                                     .map((gap) => ({...gap, from: Math.max(0, gap.from - old), to: gap.to - old}));
      for (const chart of charts) trimChart(chart, old);
    }

    function trimChart(chart, old) {
      for (const series of chart.series) {
        series.values.splice(0, Math.max(0, old - series.first));
        series.first = Math.max(0, series.first - old);
        series.statistics = null;
      }
      const left = chart.series.filter((series) => series.values.some((value) => value !== null));
      chart.isChanged = chart.isChanged || left.length < chart.series.length;
      chart.series = left;
    }

    // Who looks at the end goes on looking at the end.
    function nextView() {
      const [from, to] = view;
      const [start, end] = whole;
      whole = wholeOf();
      if (from <= start && to >= end) return whole;
      return to >= end ? [whole[1] - (to - from), whole[1]] : [Math.max(whole[0], from), Math.max(whole[0] + 1, to)];
    }

    function sum() {
      summing = null;
      addSummary();
    }

    function draw() {
      drawing = null;
      view = nextView();
      moments = momentsOf(view, charts.length && charts[0].plot ? charts[0].plot.width_ : 600);
      follows = true;
      for (const chart of charts.filter((one) => one.isChanged)) {
        const shown = firstShown(chart.series);
        chart.visible = chart.series.map((series, at) => (series.chosen === undefined ? shown[at] : series.chosen));
        chart.isChanged = false;
        addChart(chart, data.sections.find((one) => one.name === chart.section).grid);
      }
      show(view);
      addFacts();
      for (const section of data.sections) section.list.replaceChildren(...gapList(section));
      if (summing === null) summing = setTimeout(sum, kSummaryMs);
      document.documentElement.dataset.samples = String(taken);
    }

    function sayBoards(boards) {
      const list = document.getElementById('boards');
      list.replaceChildren(...boards.map((board) => {
        const link = element('a', {href: '?board=' + encodeURIComponent(board.name)}, board.name);
        if (board.shown) link.setAttribute('aria-current', 'page');
        return element('li', {class: board.state}, link, element('span', {class: 'state'}, board.state));
      }));
      list.hidden = false;
    }

    const source = new EventSource('events?board=' + encodeURIComponent(data.live.board));
    const say = (text) => { document.getElementById('server').textContent = text; };
    source.addEventListener('open', () => say(''));
    source.addEventListener('error', () => say('The server does not answer.'));
    source.addEventListener('begin', forget);
    source.addEventListener('boards', (event) => sayBoards(JSON.parse(event.data)));
    source.addEventListener('samples', (event) => {
      take(JSON.parse(event.data));
      if (drawing === null) drawing = setTimeout(draw, kDrawMs);
    });
  }

  addFacts();
  moments = momentsOf(view, 600);
  addSections();
  addSummary();
  document.getElementById('whole').addEventListener('click', () => show(whole));
  dark.addEventListener('change', () => {
    for (const chart of charts) {
      chart.plot.updateOptions(optionsOf(chart));
      paintKeys(chart);
    }
  });
  show(whole);
  if (data.live) live();
  document.documentElement.dataset.ready = 'yes';
})();
