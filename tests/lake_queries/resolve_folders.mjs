// Lets Node import modules written for bundlers, which name folders and leave out ".js".
export async function resolve(specifier, context, next) {
  try {
    return await next(specifier, context);
  } catch (error) {
    for (const tail of ['.js', '/index.js'])
      try {
        return await next(specifier + tail, context);
      } catch { /* the first error tells more */ }
    throw error;
  }
}
