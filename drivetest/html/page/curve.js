const curveData = dataOf("curve-data");

/// Rate over position; positions are in GB where the size of a sector is known.
const drawCurve = ({ points, sectorBytes, lastSector, words }) => {
  const place = document.getElementById("curve");
  const told = document.getElementById("curve-told");
  const unit = sectorBytes > 0 ? sectorBytes / 1e9 : 1;
  const looks = () => ({
    colors: [styled("--curve")],
    gridLineColor: styled("--line"),
    axisLineColor: styled("--line"),
  });
  const curve = new Dygraph(place, points.map(([lba, rate]) => [lba * unit, rate]), {
    ...looks(),
    labels: [words.position, words.rate],
    xlabel: words.position,
    ylabel: words.rate,
    legend: "never",
    includeZero: true,
    drawGapEdgePoints: true,
    strokeWidth: 1.5,
    dateWindow: [0, (lastSector + 1) * unit],
    axes: { x: { pixelsPerLabel: 70 }, y: { axisLabelWidth: 56 } },
    highlightCallback: (event, x, row) => {
      const at = row[0].idx ?? 0;
      const [lba, rate] = points[at] ?? [0, 0];
      told.textContent = fill(words.point, { lba, rate: rateFigure(rate ?? 0) });
    },
  });
  place.curve = curve;
  whenLooksChange(() => {
    curve.resize();
    curve.updateOptions(looks());
  });
};

if (curveData !== null) drawCurve(curveData);
