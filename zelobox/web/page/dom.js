// Elements in one expression.

export const byId = (id) => document.getElementById(id);

export function element(tag, properties, ...children) {
  const made = Object.assign(document.createElement(tag), properties);
  made.append(...children);
  return made;
}

/// Drawn, not typed: a machine may lack the glyph.
const shapes = {
  right: 'M9 6l6 6-6 6', left: 'M15 6l-6 6 6 6', up: 'M6 15l6-6 6 6', down: 'M6 9l6 6 6-6',
  toHost: 'M4 12h15M13 6l6 6-6 6', toMiddleware: 'M20 12H5M11 6l-6 6 6 6', callback: 'M5 5v8h13M13 8l5 5-5 5',
};

export function icon(name) {
  const svg = document.createElementNS('http://www.w3.org/2000/svg', 'svg');
  svg.setAttribute('viewBox', '0 0 24 24');
  svg.setAttribute('class', 'icon');
  svg.setAttribute('aria-hidden', 'true');
  const path = document.createElementNS('http://www.w3.org/2000/svg', 'path');
  path.setAttribute('d', shapes[name]);
  svg.append(path);
  return svg;
}
