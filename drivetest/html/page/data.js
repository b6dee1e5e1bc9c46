"use strict";

const page = document.documentElement;
page.classList.add("scripting");

/// The data that the page has for this part of it; null for none.
const dataOf = (id) => {
  const holder = document.getElementById(id);
  return holder === null ? null : JSON.parse(holder.textContent);
};

const general = dataOf("page-data");

const fill = (text, values) => text.replace(/\{(\w+)\}/g, (whole, name) => values[name] ?? whole);

const decimal = (value, digits) => value.toFixed(digits).replace(".", general.decimalPoint);

const numbers = new Intl.NumberFormat("en", { maximumFractionDigits: 3 });
const marks = { group: "\u202f", decimal: general.decimalPoint };

/// As the page's texts have it.
const numberFigure = (value) =>
  numbers.formatToParts(value).map((part) => marks[part.type] ?? part.value).join("");

/// Three digits.
const inUnit = (value, unit) => decimal(value, value < 10 ? 2 : value < 100 ? 1 : 0) + "\u00a0" + unit;

const latencyFigure = (us) =>
  us < 999.5 ? inUnit(us, "µs") : us < 999500 ? inUnit(us / 1e3, "ms") : inUnit(us / 1e6, "s");

const rateFigure = (rate) => inUnit(rate, "MB/s");

/// What the page's style gives a name to, such as "--good".
const styled = (name) => getComputedStyle(page).getPropertyValue(name).trim();

/// One byte for each of `count` values.
const decode = ({ coding, data }, count) => {
  const bytes = Uint8Array.from(atob(data), (letter) => letter.charCodeAt(0));
  if (coding === "bytes") return bytes;
  const values = new Uint8Array(count);
  for (let at = 0, filled = 0; at < bytes.length; ) {
    const value = bytes[at++];
    let run = 0;
    let scale = 1;
    do {
      run += (bytes[at] & 127) * scale;
      scale *= 128;
    } while (bytes[at++] >= 128);
    values.fill(value, filled, filled + run);
    filled += run;
  }
  return values;
};

/// What a code of the scale stands for.
const measured = (code, { least, perOctave }) => least * 2 ** ((code - 1) / perOctave);

/// Calls it now and whenever what the page looks like has changed. Paper is white.
const whenLooksChange = (draw) => {
  draw();
  window.addEventListener("resize", draw);
  window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", draw);
  window.addEventListener("beforeprint", () => {
    page.classList.add("printing");
    draw();
  });
  window.addEventListener("afterprint", () => {
    page.classList.remove("printing");
    draw();
  });
};
