/// The surface in squares, each for one cell or for several that follow each other.
class SurfaceMap {
  static #highest = 420; // pixels
  static #sizes = [14, 12, 10, 8, 7, 6, 5, 4, 3]; // of a square
  static #failed = 3;

  #canvas = document.getElementById("map");
  #told = document.getElementById("map-told");
  #base = document.createElement("canvas"); // without the mark of the pointer
  #data;
  #outcomes;
  #slowest;
  #rates;
  #view = "outcomes";
  #pointed = -1;

  constructor(data) {
    this.#data = data;
    this.#outcomes = decode(data.outcomes, data.cells);
    this.#slowest = decode(data.slowest, data.cells);
    this.#rates = decode(data.rates, data.rates.count);
    for (const button of document.querySelectorAll("[data-view]"))
      button.addEventListener("click", () => this.#show(button.dataset.view));
    this.#canvas.addEventListener("pointermove", (event) => this.#point(this.#squareAt(event)));
    this.#canvas.addEventListener("pointerdown", (event) => this.#point(this.#squareAt(event)));
    this.#canvas.addEventListener("keydown", (event) => this.#step(event));
    whenLooksChange(() => this.#draw());
  }

  #show(view) {
    this.#view = view;
    for (const button of document.querySelectorAll("[data-view]"))
      button.setAttribute("aria-pressed", String(button.dataset.view === view));
    document.getElementById("map-outcomes").hidden = view !== "outcomes";
    document.getElementById("map-scale").hidden = view !== "slowest";
    this.#draw();
  }

  /// The largest squares with which the map is not too high.
  #lay() {
    const width = this.#canvas.parentElement.clientWidth;
    const cells = this.#data.cells;
    const fits = (each) => Math.ceil(cells / Math.floor(width / each)) * each <= SurfaceMap.#highest;
    this.size = SurfaceMap.#sizes.find(fits) ?? SurfaceMap.#sizes.at(-1);
    this.columns = Math.max(1, Math.floor(width / this.size));
    const rows = Math.floor(SurfaceMap.#highest / this.size);
    this.cellsPerSquare = Math.ceil(cells / (this.columns * rows));
    this.squares = Math.ceil(cells / this.cellsPerSquare);
    this.rows = Math.ceil(this.squares / this.columns);
    // Where a square is, for whoever reads the picture.
    Object.assign(this.#canvas.dataset, {
      size: this.size, columns: this.columns, cellsPerSquare: this.cellsPerSquare, squares: this.squares,
    });
  }

  #cellsOf(square) {
    const first = square * this.cellsPerSquare;
    return [first, Math.min(first + this.cellsPerSquare, this.#data.cells)];
  }

  /// The highest of the square's codes: the worst always wins.
  #worst(codes, square) {
    const [first, end] = this.#cellsOf(square);
    let worst = 0;
    for (let cell = first; cell < end; ++cell) if (codes[cell] > worst) worst = codes[cell];
    return worst;
  }

  #draw() {
    this.#lay();
    const ratio = window.devicePixelRatio || 1;
    const [width, height] = [this.columns * this.size, this.rows * this.size];
    for (const canvas of [this.#base, this.#canvas]) {
      canvas.width = Math.round(width * ratio);
      canvas.height = Math.round(height * ratio);
    }
    this.#canvas.style.width = `${width}px`;
    this.#canvas.style.height = `${height}px`;
    const pen = this.#base.getContext("2d");
    pen.scale(ratio, ratio);
    pen.fillStyle = styled("--map-ground");
    pen.fillRect(0, 0, width, height);
    if (this.#view === "slowest") this.#drawSlowest(pen);
    else this.#drawOutcomes(pen);
    this.#drawFailed(pen);
    this.#copy();
  }

  #fill(pen, square, inset = 0) {
    const gap = this.size > 4 ? 1 : 0;
    const x = (square % this.columns) * this.size + inset;
    const y = Math.floor(square / this.columns) * this.size + inset;
    pen.fillRect(x, y, this.size - gap - 2 * inset, this.size - gap - 2 * inset);
  }

  #drawOutcomes(pen) {
    const colours = ["--untested", "--good", "--recovered"].map(styled);
    for (let square = 0; square < this.squares; ++square) {
      const outcome = this.#worst(this.#outcomes, square);
      if (outcome === SurfaceMap.#failed) continue;
      pen.fillStyle = colours[outcome];
      this.#fill(pen, square, outcome === 0 ? Math.floor(this.size / 3) : 0);
    }
  }

  #drawSlowest(pen) {
    const codes = new Uint8Array(this.squares);
    for (let square = 0; square < this.squares; ++square) codes[square] = this.#worst(this.#slowest, square);
    let [least, most] = [255, 1];
    for (const code of codes) {
      if (code !== 0 && code < least) least = code;
      if (code > most) most = code;
    }
    least = Math.min(least, most);
    const shades = ["--shade-least", "--shade-middle", "--shade-most"].map(styled).map(SurfaceMap.#parse);
    const palette = Array.from({ length: 256 }, (_, code) =>
      SurfaceMap.#mix(shades, most > least ? (code - least) / (most - least) : 0));
    const untested = styled("--untested");
    for (let square = 0; square < this.squares; ++square) {
      const code = codes[square];
      pen.fillStyle = code === 0 ? untested : palette[code];
      this.#fill(pen, square, code === 0 ? Math.floor(this.size / 3) : 0);
    }
    this.#drawScale(shades, least, most);
  }

  static #parse(colour) {
    return [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16));
  }

  static #mix(shades, share) {
    const [from, to, part] = share < 0.5 ? [shades[0], shades[1], share * 2] : [shades[1], shades[2], share * 2 - 1];
    return `rgb(${from.map((value, i) => Math.round(value + (to[i] - value) * part)).join(",")})`;
  }

  #drawScale(shades, least, most) {
    const scale = document.getElementById("map-scale");
    const bar = document.createElement("span");
    bar.className = "scale";
    bar.style.background = `linear-gradient(to right, ${shades.map((each) => `rgb(${each.join(",")})`).join(", ")})`;
    const label = (code) => {
      const text = document.createElement("span");
      text.textContent = latencyFigure(measured(code, this.#data.slowest));
      return text;
    };
    scale.replaceChildren(label(least), bar, label(most));
  }

  /// Larger than the others, and crossed out where there is room: nobody needs the colour.
  #drawFailed(pen) {
    pen.fillStyle = styled("--failed");
    pen.strokeStyle = styled("--map-ground");
    pen.lineWidth = 1.5;
    for (let square = 0; square < this.squares; ++square) {
      if (this.#worst(this.#outcomes, square) !== SurfaceMap.#failed) continue;
      this.#fill(pen, square, this.size < 8 ? -1 : 0);
      if (this.size >= 8) this.#cross(pen, square);
    }
  }

  #cross(pen, square) {
    const [x, y] = [(square % this.columns) * this.size, Math.floor(square / this.columns) * this.size];
    const far = this.size - 3;
    pen.beginPath();
    pen.moveTo(x + 2, y + 2);
    pen.lineTo(x + far, y + far);
    pen.moveTo(x + far, y + 2);
    pen.lineTo(x + 2, y + far);
    pen.stroke();
  }

  /// The map, and the mark of what is pointed at.
  #copy() {
    const pen = this.#canvas.getContext("2d");
    pen.setTransform(1, 0, 0, 1, 0, 0);
    pen.drawImage(this.#base, 0, 0);
    if (this.#pointed < 0 || this.#pointed >= this.squares) return;
    const ratio = window.devicePixelRatio || 1;
    pen.scale(ratio, ratio);
    pen.strokeStyle = styled("--text");
    pen.lineWidth = 2;
    const x = (this.#pointed % this.columns) * this.size;
    const y = Math.floor(this.#pointed / this.columns) * this.size;
    pen.strokeRect(x - 2, y - 2, this.size + 3, this.size + 3);
  }

  #squareAt(event) {
    const box = this.#canvas.getBoundingClientRect();
    const column = Math.floor((event.clientX - box.left) / this.size);
    const square = Math.floor((event.clientY - box.top) / this.size) * this.columns + column;
    return column >= 0 && column < this.columns && square >= 0 && square < this.squares ? square : -1;
  }

  #step(event) {
    const by = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: this.columns, ArrowUp: -this.columns }[event.key];
    if (by === undefined) return;
    event.preventDefault();
    this.#point(Math.max(0, Math.min(this.squares - 1, this.#pointed < 0 ? 0 : this.#pointed + by)));
  }

  #point(square) {
    if (square < 0) return;
    this.#pointed = square;
    this.#told.textContent = this.#tell(square);
    this.#copy();
  }

  #tell(square) {
    const { words, sectorsPerCell, slowest, rates } = this.#data;
    const [first, end] = this.#cellsOf(square);
    const parts = [words.outcomes[this.#worst(this.#outcomes, square)]];
    const code = this.#worst(this.#slowest, square);
    parts.push(code === 0 ? words.unmeasured
                          : fill(words.slowest, { latency: latencyFigure(measured(code, slowest)) }));
    const rate = this.#rates[Math.floor((first * sectorsPerCell) / rates.sectorsPerValue)] ?? 0;
    if (rate !== 0) parts.push(rateFigure(measured(rate, rates)));
    return `${fill(words.sectors, { range: `${first * sectorsPerCell}-${end * sectorsPerCell - 1}` })}: ` + parts.join("; ");
  }
}

const mapData = dataOf("map-data");
if (mapData !== null) new SurfaceMap(mapData);
