// A list of which only what is near the view is in the document. Rows are added at the end and forgotten at the start;
// a row is made once, and stays the same element as long as it is near the view, has the focus or is selected.

const overscan = 6; // rows beyond the view on each side, for the time until the next picture

export class VirtualList {
  /// @param scroller  shows `content`, in which the rows stand
  /// @param makeRow  gives the element of an item; items have a `number` that grows
  constructor(scroller, content, makeRow) {
    this.scroller = scroller;
    this.content = content;
    this.makeRow = makeRow;
    this.items = [];
    this.elements = new Map(); // item: element, of those in the document
    this.extras = new Map(); // item: how much taller than a line it is
    this.rowHeight = 26;
    this.viewHeight = 0;
    this.top = 0; // what scrollTop is known to be: reading it lays the page out
    this.height = 0;
    this.resized = new ResizeObserver((entries) => this.onResize(entries));
    this.resized.observe(scroller);
  }

  onResize(entries) {
    for (const { target } of entries) {
      if (target === this.scroller) {
        this.viewHeight = target.clientHeight;
        this.rowHeight = parseFloat(getComputedStyle(target).getPropertyValue('--row-height')) || this.rowHeight;
      } else if (this.extras.has(target.item)) {
        this.setExtra(target.item, target.offsetHeight - this.rowHeight);
      }
    }
    this.onResized?.();
    this.render();
  }

  indexOf(number) {
    let low = 0;
    let high = this.items.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.items[middle].number < number) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low;
  }

  /// Where the item at `index` begins.
  offsetOf(index) {
    let offset = index * this.rowHeight;
    const number = this.items[index]?.number ?? Infinity;
    for (const [item, extra] of this.extras) {
      offset += item.number < number && item.isListed ? extra : 0;
    }
    return offset;
  }

  indexAt(offset) {
    let low = 0;
    let high = this.items.length - 1;
    while (low < high) {
      const middle = (low + high + 1) >> 1;
      if (this.offsetOf(middle) <= offset) {
        low = middle;
      } else {
        high = middle - 1;
      }
    }
    return low;
  }

  get end() {
    return Math.max(0, this.height - this.viewHeight);
  }

  scrollTo(top) {
    this.top = Math.max(0, Math.min(top, this.end));
    this.scroller.scrollTop = this.top;
  }

  /// Shows other items, with the first that was in view where it was, or the next one that is still there.
  setItems(items) {
    const first = this.items[this.indexAt(this.top)];
    const inView = first && this.top - this.offsetOf(this.indexOf(first.number));
    for (const item of this.extras.keys()) {
      item.isListed = false;
    }
    this.items = items;
    for (const item of this.extras.keys()) {
      item.isListed = this.items[this.indexOf(item.number)] === item;
    }
    this.measure();
    if (first) {
      this.scrollTo(this.offsetOf(this.indexOf(first.number)) + inView);
    }
    this.render();
  }

  /// Forgets the items before `number`; what is in view stays where it is.
  forgetBefore(number) {
    const count = this.indexOf(number);
    if (count === 0) {
      return;
    }
    const gone = this.offsetOf(count);
    for (const item of this.items.splice(0, count)) {
      this.elements.get(item)?.remove();
      this.elements.delete(item);
      this.extras.delete(item);
    }
    this.measure();
    this.scrollTo(this.top - gone);
  }

  measure() {
    this.height = this.offsetOf(this.items.length);
    this.content.style.height = `${this.height}px`;
  }

  /// Opens a row, whose element has become taller, or closes it.
  setOpen(item, isOpen) {
    const element = this.elements.get(item);
    if (isOpen) {
      element.item = item;
      item.isListed = true;
      this.setExtra(item, element.offsetHeight - this.rowHeight);
      this.resized.observe(element);
    } else {
      this.resized.unobserve(element);
      this.extras.delete(item);
      this.measure();
    }
    this.render();
  }

  isOpen(item) {
    return this.extras.has(item);
  }

  setExtra(item, extra) {
    const grown = extra - (this.extras.get(item) ?? 0);
    this.extras.set(item, extra);
    this.measure();
    if (grown !== 0 && this.offsetOf(this.indexOf(item.number)) < this.top) {
      this.scrollTo(this.top + grown);
    }
  }

  /// Gives what says whether an element has to stay in the document although it is out of view. Asked for once: the
  /// selection lays the page out.
  static holder() {
    const selection = document.getSelection();
    const isSelected = selection !== null && !selection.isCollapsed;
    const focused = document.activeElement;
    return (element) => element.contains(focused) || (isSelected && selection.containsNode(element, true));
  }

  render() {
    const isHeld = VirtualList.holder();
    const first = Math.max(0, this.indexAt(this.top) - overscan);
    const last = Math.min(this.items.length, this.indexAt(this.top + this.viewHeight) + overscan + 1);
    const near = new Set(this.items.slice(first, last));
    for (const [item, element] of this.elements) {
      const isListed = this.items[this.indexOf(item.number)] === item;
      if (!near.has(item) && !(isListed && isHeld(element))) {
        this.resized.unobserve(element);
        element.remove();
        this.elements.delete(item);
      }
    }
    let offset = this.offsetOf(first);
    let next = this.content.firstElementChild;
    for (const item of near) {
      while (next && next.number < item.number) {
        next = next.nextElementSibling;
      }
      next = this.place(item, next, offset);
      offset += this.rowHeight + (this.extras.get(item) ?? 0);
    }
    for (const [item, element] of this.elements) { // that are held out of view
      if (!near.has(item)) {
        VirtualList.move(element, this.offsetOf(this.indexOf(item.number)));
      }
    }
  }

  static move(element, offset) {
    if (element.offset !== offset) {
      element.offset = offset;
      element.style.top = `${offset}px`; // a transform would make each row a picture of its own
    }
  }

  /// Gives the element that stands behind the one of `item`.
  place(item, next, offset) {
    let element = this.elements.get(item);
    if (!element) {
      element = this.makeRow(item, this.isOpen(item));
      element.number = item.number;
      this.elements.set(item, element);
      this.content.insertBefore(element, next);
      if (this.isOpen(item)) {
        element.item = item;
        this.resized.observe(element);
      }
    }
    VirtualList.move(element, offset);
    return element.nextElementSibling;
  }
}
