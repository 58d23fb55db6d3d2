// Elements from code. Every text becomes a text node, so that nothing recorded is read as markup.

export type Child = Node | string | null;

export function make<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  attributes: Record<string, string> = {},
  ...children: Child[]
): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
  for (const child of children) if (child !== null) element.append(child);
  return element;
}

export function byId(id: string): HTMLElement {
  const element = document.getElementById(id);
  if (!element) throw new Error(`the page has no element "${id}"`);
  return element;
}

// Recorded text keeps its own direction: a name written right to left does not turn the words around it.
export function recorded(text: string, attributes: Record<string, string> = {}): HTMLElement {
  return make("bdi", attributes, text);
}

export function setText(element: Element, text: string): void {
  if (element.textContent !== text) element.textContent = text;
}

export function button(label: string, title: string, press: () => void): HTMLButtonElement {
  const element = make("button", { type: "button", title }, label);
  if (label.length < 3) element.setAttribute("aria-label", title);
  element.addEventListener("click", press);
  return element;
}
