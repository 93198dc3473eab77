// The page of kvrcolor ui. It holds no rule of its own: every list, value and state comes from
// the program, and after each change the page is drawn again from the program's answer.
'use strict';

const token = document.querySelector('meta[name="kvr-token"]').content;
const psKinds = ['PsCs', 'GhostSepCs', 'PDFAurelonCs'];
let errorTexts = {};
let openPage = null; // {kind, name}
let pendingChange = null; // the change a file choice or question belongs to

function $(id) { return document.getElementById(id); }

function el(tag, attrs = {}, ...children) {
  const e = document.createElement(tag);
  for (const [k, v] of Object.entries(attrs)) {
    if (v === false || v === null || v === undefined) continue;
    if (k === 'text') e.textContent = v;
    else if (k.startsWith('on')) e.addEventListener(k.slice(2), v);
    else e.setAttribute(k, v === true ? '' : v);
  }
  for (const c of children) if (c) e.append(c);
  return e;
}

// An error number of the colour family in a text gets its meaning beside it.
function explain(text) {
  const m = /\b(90[1-9])\b/.exec(text);
  return m && errorTexts[m[1]] ? `${text} (${m[1]}: ${errorTexts[m[1]].replace('%1', '…')})`
                               : text;
}

function say(texts, isError) {
  const box = isError ? $('alert') : $('status');
  box.replaceChildren(...texts.map(t => el('p', {text: explain(t)})));
  (isError ? $('status') : $('alert')).replaceChildren();
}

async function api(path, {json, form, method} = {}) {
  const init = {method: method || (json || form ? 'POST' : 'GET'), headers: {'X-KVR-Token': token}};
  if (json) {
    init.headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(json);
  } else if (form) {
    init.body = form;
  }
  const res = await fetch(path, init);
  const type = res.headers.get('Content-Type') || '';
  if (!res.ok) {
    let text = `${res.status} ${res.statusText}`;
    if (type.startsWith('application/json')) text = (await res.json()).error || text;
    if (res.status === 413) text = 'The file is larger than the server takes.';
    say([text], true);
    throw new Error(text);
  }
  if (type.startsWith('application/json')) return res.json();
  if (type.startsWith('text/')) return res.text();
  return res.blob();
}

// ---------------------------------------------------------------------------------------------
// Presets

function kindForm(k) {
  const id = s => `${s}-${k.kind}`;
  const select = el('select', {id: id('preset'), 'data-kind': k.kind});
  for (const name of k.presets) {
    select.append(el('option', {value: name, selected: name === k.current,
                                text: name === k.current ? `${name} (current)` : name}));
  }
  const selected = () => select.value;
  const exportLink = el('a', {id: id('export'), text: 'Export with profiles'});
  const updateExport = () => {
    exportLink.href = `api/export?kind=${encodeURIComponent(k.kind)}&name=` +
      `${encodeURIComponent(selected())}&token=${token}`;
    exportLink.setAttribute('download', `${selected()}.${k.kind}.zip`);
    exportLink.hidden = !selected();
  };
  select.addEventListener('change', updateExport);
  updateExport();
  const newName = el('input', {id: id('newname'), type: 'text', autocomplete: 'off'});
  const act = (action, needsNew) => async () => {
    if (needsNew && !newName.value.trim()) {
      say(['Type the new name first.'], true);
      newName.focus();
      return;
    }
    const req = {action, kind: k.kind, name: action === 'new' ? newName.value.trim() : selected()};
    if (needsNew && action !== 'new') req.newName = newName.value.trim();
    if (action === 'delete' && !confirm(`Delete the preset "${req.name}"?`)) return;
    const data = await api('api/preset', {json: req});
    if (openPage && openPage.kind === k.kind && openPage.name === req.name &&
        (action === 'rename' || action === 'delete')) closePage();
    drawPresets(data, `${action}-${k.kind}`);
    say([`${k.kind}: ${action} done.`], false);
  };
  const parts = [
    el('legend', {text: k.kind}),
    el('p', {id: id('current'), text: `Current: ${k.current || '(none)'}`}),
    el('div', {class: 'row'},
       el('label', {for: id('preset'), text: 'Preset'}), select,
       psKinds.includes(k.kind) ? el('label', {for: id('mask'), text: 'Device colour spaces'}) : null,
       psKinds.includes(k.kind) ? el('select', {id: id('mask')},
         el('option', {value: '3', text: 'RGB and CMYK'}),
         el('option', {value: '1', text: 'RGB only'}),
         el('option', {value: '2', text: 'CMYK only'})) : null),
    el('div', {class: 'row'},
       el('button', {type: 'button', id: id('open'), text: 'Open', onclick: () => {
         const mask = $(id('mask'));
         openPreset(k.kind, selected(), mask ? Number(mask.value) : undefined);
       }}),
       el('button', {type: 'button', id: id('current-button'), text: 'Make current',
                     onclick: act('current', false)}),
       el('button', {type: 'button', id: id('delete'), text: 'Delete', onclick: act('delete', false)}),
       exportLink),
    el('div', {class: 'row'},
       el('label', {for: id('newname'), text: 'New name'}), newName,
       el('button', {type: 'button', id: id('new'), text: 'New', onclick: act('new', true)}),
       el('button', {type: 'button', id: id('copy'), text: 'Copy', onclick: act('copy', true)}),
       el('button', {type: 'button', id: id('rename'), text: 'Rename', onclick: act('rename', true)})),
  ];
  return el('fieldset', {class: 'kind', id: id('kind')}, ...parts);
}

function drawPresets(data, focusId) {
  errorTexts = data.errors || errorTexts;
  $('preset-kinds').replaceChildren(...data.kinds.map(kindForm));
  if (focusId && $(focusId)) $(focusId).focus();
}

async function loadPresets() {
  drawPresets(await api('api/presets'));
}

// ---------------------------------------------------------------------------------------------
// A preset on its page

function controlView(page, c) {
  const id = `c-${page}-${c.id}`;
  const data = {'data-page': page, 'data-id': c.id, 'data-kind': c.kind};
  const label = c.label || `Control ${c.id}`;
  let body;
  if (c.kind === 'combo') {
    const select = el('select', {id, ...data, disabled: !c.enabled,
                                 onchange: e => change({page, id: c.id, action: 'select',
                                                        value: e.target.value})});
    if (c.sel < 0) select.append(el('option', {value: '', text: '(none)', selected: true}));
    c.items.forEach((item, i) => select.append(el('option', {value: item, text: item,
                                                             selected: i === c.sel})));
    body = [el('label', {for: id, text: label}), select];
  } else if (c.kind === 'check') {
    body = [el('input', {id, type: 'checkbox', ...data, checked: c.check !== 0, disabled: !c.enabled,
                         onchange: e => change({page, id: c.id, action: 'check',
                                                value: e.target.checked ? 1 : 0})}),
            el('label', {for: id, text: label})];
  } else if (c.kind === 'button') {
    body = [el('button', {id, type: 'button', ...data, disabled: !c.enabled, text: label,
                          onclick: () => change({page, id: c.id, action: 'press'})})];
  } else {
    body = [el('span', {class: 'text-label', text: c.label ? `${c.label}: ` : ''}),
            el('output', {id, ...data, text: c.text})];
  }
  return el('div', {class: `control ${c.kind}`, hidden: !c.shown}, ...body);
}

// Fieldsets by the group the program gives each control (colour space, object class), in the
// order the controls come.
function groupedControls(page, controls) {
  const groups = new Map();
  for (const c of controls) {
    if (!groups.has(c.group)) groups.set(c.group, new Map());
    const subs = groups.get(c.group);
    if (!subs.has(c.subgroup)) subs.set(c.subgroup, []);
    subs.get(c.subgroup).push(c);
  }
  const sets = [];
  for (const [group, subs] of groups) {
    const set = el('fieldset', {class: 'group'}, el('legend', {text: group}));
    let anyShown = false;
    for (const [sub, list] of subs) {
      const views = list.map(c => controlView(page, c));
      const shown = list.some(c => c.shown);
      anyShown = anyShown || shown;
      if (sub) set.append(el('fieldset', {class: 'subgroup', hidden: !shown},
                             el('legend', {text: sub}), ...views));
      else set.append(...views);
    }
    set.hidden = !anyShown;
    sets.push(set);
  }
  return sets;
}

function drawPage(data) {
  const focused = document.activeElement && document.activeElement.id;
  $('page-title').textContent = `${data.kind} preset "${data.name}"`;
  const sections = data.pages.filter(p => p.controls.some(c => c.shown)).map(p =>
    el('section', {class: 'subpage', 'aria-labelledby': `page-${p.index}-title`},
       el('h3', {id: `page-${p.index}-title`, text: p.title}),
       el('div', {class: 'groups'}, ...groupedControls(p.index, p.controls))));
  $('page-body').replaceChildren(...sections);
  $('page').hidden = false;
  if (focused && $(focused)) $(focused).focus();
}

async function outcome(data, change, answers, file) {
  drawPage(data);
  if (data.messages.length) say(data.messages, true);
  else if (data.done === 'saved') say(['Saved.'], false);
  if (data.question !== null && change) {
    if (confirm(data.question)) await change_(change, [...answers, true], file);
    return;
  }
  if (data.chooseFile && change && !file) {
    pendingChange = {change, answers};
    $('choose-file-title').textContent = data.chooseFile.title || 'Choose a file';
    $('choose-file').hidden = false;
    $('choose-file-input').focus();
  }
}

async function change_(change, answers, file) {
  let data;
  if (file) {
    const form = new FormData();
    form.append('request', JSON.stringify({change, answers}));
    form.append('file', file, file.name);
    data = await api('api/page/change', {form});
  } else {
    data = await api('api/page/change', {json: {change, answers}});
  }
  await outcome(data, change, answers, file);
}

function change(c) {
  say([], false);
  change_(c, [], null).catch(() => {});
}

async function openPreset(kind, name, channelMask) {
  if (!name) return say(['Choose a preset first.'], true);
  const req = {kind, name};
  if (channelMask) req.channelMask = channelMask;
  const data = await api('api/page/open', {json: req});
  openPage = {kind, name};
  await outcome(data, null, [], null);
  $('page-title').focus();
}

function closePage() {
  openPage = null;
  $('page').hidden = true;
  $('page-body').replaceChildren();
  api('api/page/close', {json: {}}).catch(() => {});
}

// ---------------------------------------------------------------------------------------------
// Profiles and proofs

async function showText(path, kind) {
  $('profile-text-title').textContent = `${kind} of ${path}`;
  $('profile-text').textContent =
    await api(`api/profile/${kind}?path=${encodeURIComponent(path)}`);
  $('profile-text').focus();
}

async function loadProfiles() {
  const data = await api('api/profiles');
  $('profiles-base').textContent = `Base folder: ${data.base}`;
  const rows = data.profiles.map(p => el('tr', {},
    el('td', {text: p.folder}), el('th', {scope: 'row', text: p.name}),
    el('td', {text: p.error || p.description}), el('td', {text: p.class || ''}),
    el('td', {text: p.space || ''}), el('td', {text: p.version || ''}),
    el('td', {text: String(p.size)}),
    el('td', {text: p.inkLimit !== undefined ? `${p.inkLimit} %` : ''}),
    el('td', {class: 'md5', text: p.md5 || ''}),
    el('td', {}, p.error ? null : el('button', {type: 'button', text: 'Info',
                                                'aria-label': `Info of ${p.path}`,
                                                onclick: () => showText(p.path, 'info')}),
       p.error ? null : el('button', {type: 'button', text: 'Dump',
                                      'aria-label': `Dump of ${p.path}`,
                                      onclick: () => showText(p.path, 'dump')}))));
  document.querySelector('#profile-table tbody').replaceChildren(...rows);
  $('proof-printer').replaceChildren(...data.profiles.filter(p => p.class === 'printer')
    .map(p => el('option', {value: p.path, text: `${p.path} (${p.description})`})));
}

async function proof(e) {
  e.preventDefault();
  const form = new FormData($('proof-form'));
  const image = $('proof-image').files[0];
  say(['Making the proof...'], false);
  const blob = await api('api/proof', {form});
  const img = $('proof-result');
  if (img.src) URL.revokeObjectURL(img.src);
  img.src = URL.createObjectURL(blob);
  img.alt = `Soft proof of ${image.name} through ${$('proof-printer').value}`;
  img.hidden = false;
  say(['Proof ready.'], false);
}

async function importArchive(e) {
  e.preventDefault();
  const form = new FormData($('import-form'));
  const data = await api('api/import', {form});
  drawPresets(data);
  const i = data.imported;
  say([`Imported ${i.kind} preset "${i.name}": ${i.written.length} file(s) written` +
       (i.kept.length ? `, ${i.kept.length} kept as they were` : '') + '.'], false);
  loadProfiles();
}

document.addEventListener('DOMContentLoaded', () => {
  $('page-save').addEventListener('click', async () => {
    const data = await api('api/page/save', {json: {}});
    await outcome(data, null, [], null);
  });
  $('page-close').addEventListener('click', closePage);
  $('choose-file').addEventListener('submit', e => {
    e.preventDefault();
    const file = $('choose-file-input').files[0];
    const p = pendingChange;
    pendingChange = null;
    $('choose-file').hidden = true;
    $('choose-file-input').value = '';
    if (p && file) change_(p.change, p.answers, file).then(loadProfiles).catch(() => {});
  });
  $('choose-file-cancel').addEventListener('click', () => {
    pendingChange = null;
    $('choose-file').hidden = true;
  });
  $('proof-form').addEventListener('submit', e => proof(e).catch(() => {}));
  $('import-form').addEventListener('submit', e => importArchive(e).catch(() => {}));
  loadPresets().catch(() => {});
  loadProfiles().catch(() => {});
});
