/// Each heading of a table becomes a button that sorts its rows.
const keyOf = (row, column, isNumber) => {
  const cell = row.cells[column];
  return isNumber ? Number(cell.dataset.value ?? Number.NEGATIVE_INFINITY) : cell.textContent;
};

const sortBy = (table, heading, column) => {
  const isNumber = heading.classList.contains("number");
  // Of numbers the highest, of texts the first of the alphabet are what is looked for.
  const wasSorted = heading.getAttribute("aria-sort");
  const isDescending = wasSorted ? wasSorted === "ascending" : isNumber;
  const compare = isNumber ? (a, b) => a - b || 0 : new Intl.Collator(document.documentElement.lang, {numeric: true}).compare;
  const rows = [...table.tBodies[0].rows].map(row => ({row, key: keyOf(row, column, isNumber)}));
  rows.sort((a, b) => isDescending ? compare(b.key, a.key) : compare(a.key, b.key));
  table.tBodies[0].append(...rows.map(each => each.row));
  for (const other of table.tHead.rows[0].cells) other.removeAttribute("aria-sort");
  heading.setAttribute("aria-sort", isDescending ? "descending" : "ascending");
};

document.querySelectorAll("table").forEach(table =>
  [...table.tHead.rows[0].cells].forEach((heading, column) => {
    const button = document.createElement("button");
    button.type = "button";
    button.className = "sort";
    button.textContent = heading.textContent;
    button.addEventListener("click", () => sortBy(table, heading, column));
    heading.replaceChildren(button);
  }));
