
// A canvas to look around in, for every picture of the full sphere on the page.
for (const canvas of document.querySelectorAll('canvas[data-sphere]')) {
  const image = new Image();
  image.src = window.spherePictures[canvas.dataset.sphere];
  new SphereViewer(canvas, image);
  canvas.parentElement.hidden = false;
}
