/** The first place whose value is greater than `x`, in rising values. */
export function firstAfter(values: Float64Array, x: number): number {
  let low = 0;
  let high = values.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (values[middle] <= x) low = middle + 1;
    else high = middle;
  }
  return low;
}

/** The first place whose value is `x` or more. */
export function firstFrom(values: Float64Array, x: number): number {
  let low = 0;
  let high = values.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (values[middle] < x) low = middle + 1;
    else high = middle;
  }
  return low;
}
