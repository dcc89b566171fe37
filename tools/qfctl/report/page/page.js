const text = document.getElementById('text'), failures = document.getElementById('failures');
const items = [...document.querySelectorAll('.item')], shown = document.getElementById('shown');
const sections = [...document.querySelectorAll('section')], nothing = document.getElementById('nothing');
function apply() {
  const wanted = text.value.toLowerCase();
  let count = 0;
  for (const item of items) {
    const texts = [...item.querySelectorAll('.name, td')];
    item.hidden = !texts.some(text => text.textContent.toLowerCase().includes(wanted)) ||
      (failures.checked && item.classList.contains('passed'));
    count += item.hidden ? 0 : 1;
  }
  for (const section of sections) {
    section.hidden = !section.querySelector('.item:not([hidden])');
  }
  nothing.hidden = count > 0;
  shown.textContent = count + ' of ' + items.length + ' shown';
}
const carried = new URLSearchParams(location.hash.slice(1));
text.value = carried.get('filter') || '';
failures.checked = carried.has('failures');
document.querySelector('.filter').hidden = false;
text.addEventListener('input', apply);
failures.addEventListener('change', apply);
apply();
