/// Rates over position; positions are in GB where the size of a sector is known.
const drawCurve = ({ points, sectorBytes, lastSector, names, words }) => {
  const place = document.getElementById("curve");
  const told = document.getElementById("curve-told");
  const unit = sectorBytes > 0 ? sectorBytes / 1e9 : 1;
  const looks = () => ({
    colors: ["--curve", "--second-curve"].map(styled).slice(0, names.length),
    gridLineColor: styled("--line"),
    axisLineColor: styled("--line"),
  });
  const tell = ([lba, ...rates]) => {
    const figures = rates.map((rate, at) =>
      rate === null ? "" : (names.length > 1 ? `${names[at]} ` : "") + rateFigure(rate));
    return fill(words.point, { lba, rate: figures.filter(Boolean).join("; ") });
  };
  const curve = new Dygraph(place, points.map(([lba, ...rates]) => [lba * unit, ...rates]), {
    ...looks(),
    labels: [words.position, ...names],
    series: names.length > 1 ? { [names[1]]: { strokePattern: [7, 3] } } : {},
    xlabel: words.position,
    legend: "never",
    includeZero: true,
    drawGapEdgePoints: true,
    strokeWidth: 1.5,
    dateWindow: [0, (lastSector + 1) * unit],
    axes: {
      x: { pixelsPerLabel: 80, axisLabelWidth: 70, axisLabelFormatter: numberFigure },
      y: { axisLabelWidth: 60, axisLabelFormatter: numberFigure },
    },
    highlightCallback: (event, x, row, at) => {
      told.textContent = tell(points[at]);
    },
  });
  place.curve = curve; // for whoever reads its values
  if (names.length > 1) drawLegend(place, names);
  whenLooksChange(() => {
    curve.resize();
    curve.updateOptions(looks());
  });
};

const drawLegend = (place, names) => {
  const list = document.createElement("ul");
  list.className = "legend";
  names.forEach((name, at) => {
    const item = document.createElement("li");
    const stroke = document.createElement("span");
    stroke.className = at === 0 ? "stroke" : "stroke second";
    item.append(stroke, name);
    list.append(item);
  });
  place.after(list);
};

const curveData = dataOf("curve-data");
if (curveData !== null) drawCurve(curveData);
