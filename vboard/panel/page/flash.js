// The flash: its partitions and sectors, and the block with the boot variables.
import { act } from './feed.js';
import { fill, find, hex, make, onSubmit, seconds } from './dom.js';

const kVerdicts = {
  whole: '✔ whole: its check sum is right.',
  empty: '✖ erased: there is no list in it.',
  torn: '✖ torn: its check sum is wrong.',
};

// What else the moment of a cut takes.
const kAmounts = { inside: 'bytes', torn: 'seed' };

let cut = null;  // the last one: when it was

function kilobytes(bytes) {
  return bytes % 1048576 === 0 ? `${bytes / 1048576} MiB` : `${bytes / 1024} KiB`;
}

function percent(sector, size) {
  const share = (100 * sector.programmed) / size;
  return sector.programmed > 0 && share < 1 ? '< 1' : String(Math.round(share));
}

function sectorCell(sector, number, size) {
  const share = percent(sector, size);
  const text = `sector ${number}: erased ${sector.erases} times, ${share} % programmed`;
  const cell = make('li', { title: text });
  const level = make('span', { className: 'fill' });
  level.style.height = `${(100 * sector.programmed) / size}%`;
  cell.append(level, make('span', { className: 'count', textContent: sector.erases, 'aria-hidden': 'true' }),
    make('span', { className: 'heard', textContent: text }));
  return cell;
}

function partitionRow(partition, unit) {
  const used = partition.sectors.filter((sector) => sector.programmed > 0).length;
  return make('details', { open: true, id: `mtd${unit}` },
    make('summary', {}, make('b', { textContent: partition.name }),
      ` mtd${unit}, ${hex(partition.offset)}, ${kilobytes(partition.size)}, ${used} of ` +
      `${partition.sectors.length} sectors in use`),
    make('ol', { className: 'cells', 'aria-label': `Sectors of ${partition.name}` },
      ...partition.sectors.map((sector, i) => sectorCell(sector, i, partition.sector_size))));
}

function showPartitions(partitions) {
  fill(find('#partitions'), partitions.map(({ name, size }) => [name, size]), () =>
    partitions.map(({ name, size }, unit) => {
      const part = make('div', { role: 'listitem', title: `${name}, ${kilobytes(size)}` },
        make('a', { href: `#mtd${unit}`, textContent: `${name} ${kilobytes(size)}` }));
      part.style.flexGrow = size;
      return part;
    }));
  const place = find('#sectors');
  while (place.children.length > partitions.length) place.lastChild.remove();
  partitions.forEach((partition, unit) => {
    const box = place.children[unit] ?? place.appendChild(make('div'));
    const open = box.querySelector('details')?.open ?? true;
    fill(box, partition, () => [partitionRow(partition, unit)]);
    box.querySelector('details').open = open;
  });
}

function blockText(boot) {
  if (boot === undefined) return 'This board has none.';
  const count = Object.keys(boot.variables).length;
  const list = count === 0 ? 'The board reads an empty list.' : `The board reads ${count} variables.`;
  return `${kVerdicts[boot.block] ?? boot.block} ${list}`;
}

function showBlock(boot) {
  find('#verdict').textContent = blockText(boot);
  const variables = Object.entries(boot?.variables ?? {});
  fill(find('#variables'), variables, () => variables.map(([name, value]) => make('tr', {},
    make('th', { scope: 'row', textContent: name }), make('td', { textContent: value }))));
  if (cut !== null) {
    find('#after-cut').textContent = `After the power was cut at ${seconds(cut.time)} s of boot ${cut.boots}: `
      + blockText(boot);
  }
}

function momentText(moment) {
  return [...find('#cut').elements.moment.options].find(({ value }) => value === moment)?.text ?? moment;
}

function show(state) {
  showPartitions(state.devices.flash ?? []);
  showBlock(state.devices.boot);
  const planned = state.power_cut;
  find('#planned-cut').textContent = planned === null ? 'No cut is planned.'
    : `Planned: the power goes ${momentText(planned.moment)} flash operation ${planned.operation} from now on.`;
}

function clear() {
  cut = null;
  find('#after-cut').textContent = '';
}

function read(events) {
  for (const event of events) {
    if (event.device === 'power' && event.event === 'cut') cut = event;
  }
}

export function startFlash() {
  const { moment: when, number: amount } = find('#cut').elements;
  when.onchange = () => {
    amount.parentElement.hidden = kAmounts[when.value] === undefined;
    amount.previousElementSibling.textContent = kAmounts[when.value] ?? '';
  };
  onSubmit(find('#cut'), ({ operation, moment, number }) =>
    act('flash', 'cut', operation.value, moment.value, number.value));
  return { show, read, clear };
}
