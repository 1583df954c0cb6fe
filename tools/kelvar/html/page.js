'use strict';
// Gives every log a filter by text and severity. Without scripts all entries are there.
for (const log of document.querySelectorAll('details.log')) {
  const rows = [...log.querySelectorAll('tbody tr')];
  const severities = [...new Set(rows.map((row) => row.dataset.severity))].sort();
  const filter = document.createElement('div');
  filter.className = 'filter';
  const text = document.createElement('input');
  text.type = 'search';
  text.placeholder = 'Filter by text';
  text.setAttribute('aria-label', 'Filter by text');
  const severity = document.createElement('select');
  severity.setAttribute('aria-label', 'Filter by severity');
  severity.append(new Option('All severities', ''));
  for (const name of severities) severity.append(new Option(name || 'Without severity', name));
  const count = document.createElement('span');
  count.className = 'soft';
  count.setAttribute('role', 'status');
  const apply = () => {
    const wanted = text.value.toLowerCase();
    let shown = 0;
    for (const row of rows) {
      const fits = row.textContent.toLowerCase().includes(wanted) &&
        (severity.selectedIndex < 1 || row.dataset.severity === severity.value);
      row.hidden = !fits;
      shown += fits ? 1 : 0;
    }
    count.textContent = shown + ' of ' + rows.length;
  };
  text.addEventListener('input', apply);
  severity.addEventListener('change', apply);
  filter.append(text, severity, count);
  log.querySelector('summary').after(filter);
  apply();
}
