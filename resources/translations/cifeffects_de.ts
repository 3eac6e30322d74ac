<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE">
<context>
    <name>CIFEffects</name>
    <message>
        <source>Crop</source>
        <translation>Zuschneiden</translation>
    </message>
    <message>
        <source>Transform</source>
        <translation>Transformieren</translation>
    </message>
    <message>
        <source>Color</source>
        <translation>Farbe</translation>
    </message>
    <message>
        <source>Focus</source>
        <translation>Schärfe</translation>
    </message>
    <message>
        <source>Distortion</source>
        <translation>Verzerrung</translation>
    </message>
    <message>
        <source>Style</source>
        <translation>Stil</translation>
    </message>
    <message>
        <source>Halftone</source>
        <translation>Rasterung</translation>
    </message>
    <message>
        <source>Tile</source>
        <translation>Kacheln</translation>
    </message>
    <message>
        <source>Lumine</source>
        <translation>Licht</translation>
    </message>
    <message>
        <source>Overlap</source>
        <translation>Überlagerung</translation>
    </message>
    <message>
        <source>Composite Operations</source>
        <translation>Compositing-Operationen</translation>
    </message>
    <message>
        <source>Other</source>
        <translation>Sonstiges</translation>
    </message>
    <message>
        <source>Science</source>
        <translation>Wissenschaft</translation>
    </message>
    <message>
        <source>Lines &amp; Fields</source>
        <translation>Linien &amp; Felder</translation>
    </message>
    <message>
        <source>Gradient</source>
        <translation>Verlauf</translation>
    </message>
    <message>
        <source>Laying</source>
        <translation>Verlegemuster</translation>
    </message>
    <message>
        <source>Other Filters</source>
        <translation>Weitere Filter</translation>
    </message>
    <message>
        <source>3rd Party</source>
        <translation>Drittanbieter</translation>
    </message>
    <message>
        <source>Composite Filters</source>
        <translation>Compositing-Filter</translation>
    </message>
    <message>
        <source>Tiled Textures</source>
        <translation>Gekachelte Texturen</translation>
    </message>
    <message>
        <source>Reflected Textures</source>
        <translation>Gespiegelte Texturen</translation>
    </message>
    <message>
        <source>Blur</source>
        <translation>Weichzeichnen</translation>
    </message>
    <message>
        <source>Affine Transform</source>
        <translation>Affine Transformation</translation>
    </message>
    <message>
        <source>Lanczos Scale</source>
        <translation>Lanczos-Skalierung</translation>
    </message>
    <message>
        <source>Perspective Transform</source>
        <translation>Perspektivische Transformation</translation>
    </message>
    <message>
        <source>Color Controls</source>
        <translation>Farbregler</translation>
    </message>
    <message>
        <source>Exposure Adjust</source>
        <translation>Belichtung anpassen</translation>
    </message>
    <message>
        <source>Gamma Adjust</source>
        <translation>Gamma anpassen</translation>
    </message>
    <message>
        <source>Hue Adjust</source>
        <translation>Farbton anpassen</translation>
    </message>
    <message>
        <source>White Point Adjust</source>
        <translation>Weißpunkt anpassen</translation>
    </message>
    <message>
        <source>Color Monochrome</source>
        <translation>Monochrom</translation>
    </message>
    <message>
        <source>Color Posterize</source>
        <translation>Tontrennung</translation>
    </message>
    <message>
        <source>Color Invert</source>
        <translation>Farben umkehren</translation>
    </message>
    <message>
        <source>Transparent</source>
        <translation>Transparent</translation>
    </message>
    <message>
        <source>Transparent Color</source>
        <translation>Transparente Farbe</translation>
    </message>
    <message>
        <source>False Color</source>
        <translation>Falschfarben</translation>
    </message>
    <message>
        <source>Sepia Tone</source>
        <translation>Sepiaton</translation>
    </message>
    <message>
        <source>Bi-Color</source>
        <translation>Zweifarbig</translation>
    </message>
    <message>
        <source>Comic Effect</source>
        <translation>Comic-Effekt</translation>
    </message>
    <message>
        <source>CMYK Halftone</source>
        <translation>CMYK-Rasterung</translation>
    </message>
    <message>
        <source>Spot Color</source>
        <translation>Schmuckfarbe</translation>
    </message>
    <message>
        <source>Color Map</source>
        <translation>Farbzuordnung</translation>
    </message>
    <message>
        <source>Color Matrix</source>
        <translation>Farbmatrix</translation>
    </message>
    <message>
        <source>Mask To Alpha</source>
        <translation>Maske zu Alpha</translation>
    </message>
    <message>
        <source>Unsharp Mask</source>
        <translation>Unscharf maskieren</translation>
    </message>
    <message>
        <source>Noise Reduction</source>
        <translation>Rauschreduzierung</translation>
    </message>
    <message>
        <source>Gaussian Blur</source>
        <translation>Gaußscher Weichzeichner</translation>
    </message>
    <message>
        <source>Motion Blur</source>
        <translation>Bewegungsunschärfe</translation>
    </message>
    <message>
        <source>Sharpen Luminance</source>
        <translation>Luminanz schärfen</translation>
    </message>
    <message>
        <source>Zoom Blur</source>
        <translation>Zoom-Unschärfe</translation>
    </message>
    <message>
        <source>Median</source>
        <translation>Median</translation>
    </message>
    <message>
        <source>Bump Distortion</source>
        <translation>Beule</translation>
    </message>
    <message>
        <source>Bump Distortion Linear</source>
        <translation>Lineare Beule</translation>
    </message>
    <message>
        <source>Circular Splash</source>
        <translation>Kreisförmiger Spritzer</translation>
    </message>
    <message>
        <source>Rectangular Splash</source>
        <translation>Rechteckiger Spritzer</translation>
    </message>
    <message>
        <source>Circular Wrap</source>
        <translation>Kreisförmige Umhüllung</translation>
    </message>
    <message>
        <source>Hole Distortion</source>
        <translation>Loch</translation>
    </message>
    <message>
        <source>Pinch Distortion</source>
        <translation>Zusammenziehen</translation>
    </message>
    <message>
        <source>Twirl Distortion</source>
        <translation>Strudel</translation>
    </message>
    <message>
        <source>Vortex Distortion</source>
        <translation>Wirbel</translation>
    </message>
    <message>
        <source>Glass Distortion</source>
        <translation>Glasverzerrung</translation>
    </message>
    <message>
        <source>Displacement Distortion</source>
        <translation>Versetzen</translation>
    </message>
    <message>
        <source>Net Distortion</source>
        <translation>Netzverzerrung</translation>
    </message>
    <message>
        <source>Torus Lens</source>
        <translation>Toruslinse</translation>
    </message>
    <message>
        <source>Glass Lozenge</source>
        <translation>Glasraute</translation>
    </message>
    <message>
        <source>Affine Clamp</source>
        <translation>Affines Begrenzen</translation>
    </message>
    <message>
        <source>Bloom</source>
        <translation>Leuchten</translation>
    </message>
    <message>
        <source>Gloom</source>
        <translation>Düsternis</translation>
    </message>
    <message>
        <source>Crystallize</source>
        <translation>Kristallisieren</translation>
    </message>
    <message>
        <source>Pointillize</source>
        <translation>Punktieren</translation>
    </message>
    <message>
        <source>Pixellate</source>
        <translation>Verpixeln</translation>
    </message>
    <message>
        <source>Hexagonal Pixellate</source>
        <translation>Sechseckig verpixeln</translation>
    </message>
    <message>
        <source>Edge Work</source>
        <translation>Kantenzeichnung</translation>
    </message>
    <message>
        <source>Sobel</source>
        <translation>Sobel</translation>
    </message>
    <message>
        <source>Edges</source>
        <translation>Kanten</translation>
    </message>
    <message>
        <source>Line Overlay</source>
        <translation>Linienüberlagerung</translation>
    </message>
    <message>
        <source>Shaded Materials</source>
        <translation>Schattierte Materialien</translation>
    </message>
    <message>
        <source>Random Generator</source>
        <translation>Zufallsgenerator</translation>
    </message>
    <message>
        <source>Height Field From Mask</source>
        <translation>Höhenfeld aus Maske</translation>
    </message>
    <message>
        <source>Circular Screen</source>
        <translation>Kreisraster</translation>
    </message>
    <message>
        <source>Dot Screen</source>
        <translation>Punktraster</translation>
    </message>
    <message>
        <source>Hatched Screen</source>
        <translation>Schraffurraster</translation>
    </message>
    <message>
        <source>Line Screen</source>
        <translation>Linienraster</translation>
    </message>
    <message>
        <source>Maximum Component</source>
        <translation>Maximale Komponente</translation>
    </message>
    <message>
        <source>Minimum Component</source>
        <translation>Minimale Komponente</translation>
    </message>
    <message>
        <source>Affine Tile</source>
        <translation>Affine Kachel</translation>
    </message>
    <message>
        <source>Kaleidoscope</source>
        <translation>Kaleidoskop</translation>
    </message>
    <message>
        <source>Square Tile</source>
        <translation>Quadratische Kachel</translation>
    </message>
    <message>
        <source>Op Tile</source>
        <translation>Op-Art-Kachel</translation>
    </message>
    <message>
        <source>Parallelogram Tile</source>
        <translation>Parallelogrammkachel</translation>
    </message>
    <message>
        <source>Triangle Tile</source>
        <translation>Dreieckskachel</translation>
    </message>
    <message>
        <source>Fourfold Reflected</source>
        <translation>Vierfach gespiegelt</translation>
    </message>
    <message>
        <source>Perspective Tile</source>
        <translation>Perspektivische Kachel</translation>
    </message>
    <message>
        <source>Lenticular Halo</source>
        <translation>Linsenhalo</translation>
    </message>
    <message>
        <source>Starshine Generator</source>
        <translation>Sternenglanz</translation>
    </message>
    <message>
        <source>Sunbeams</source>
        <translation>Sonnenstrahlen</translation>
    </message>
    <message>
        <source>Gaussian Gradient</source>
        <translation>Gaußscher Verlauf</translation>
    </message>
    <message>
        <source>Radial Gradient</source>
        <translation>Radialer Verlauf</translation>
    </message>
    <message>
        <source>Constant Color</source>
        <translation>Einfarbig</translation>
    </message>
    <message>
        <source>Spot Light</source>
        <translation>Spotlicht</translation>
    </message>
    <message>
        <source>Linear Gradient</source>
        <translation>Linearer Verlauf</translation>
    </message>
    <message>
        <source>Blend With Mask</source>
        <translation>Mit Maske überblenden</translation>
    </message>
    <message>
        <source>Disintegrate With Mask</source>
        <translation>Mit Maske zerfallen</translation>
    </message>
    <message>
        <source>Mod Transition</source>
        <translation>Mod-Übergang</translation>
    </message>
    <message>
        <source>Bars Swipe Transition</source>
        <translation>Balkenwisch-Übergang</translation>
    </message>
    <message>
        <source>Checkerboard Generator</source>
        <translation>Schachbrettgenerator</translation>
    </message>
    <message>
        <source>Stripes</source>
        <translation>Streifen</translation>
    </message>
    <message>
        <source>Page Curl</source>
        <translation>Seite umblättern</translation>
    </message>
    <message>
        <source>Ripple</source>
        <translation>Kräuseln</translation>
    </message>
    <message>
        <source>Dissolve</source>
        <translation>Auflösen</translation>
    </message>
    <message>
        <source>Copy Machine</source>
        <translation>Kopiergerät</translation>
    </message>
    <message>
        <source>Flash</source>
        <translation>Blitz</translation>
    </message>
    <message>
        <source>Swipe</source>
        <translation>Wischen</translation>
    </message>
    <message>
        <source>Box Blur</source>
        <translation>Box-Weichzeichner</translation>
    </message>
    <message>
        <source>Disc Blur</source>
        <translation>Scheiben-Weichzeichner</translation>
    </message>
    <message>
        <source>Fourfold Rotated</source>
        <translation>Vierfach gedreht</translation>
    </message>
    <message>
        <source>Fourfold Translated</source>
        <translation>Vierfach verschoben</translation>
    </message>
    <message>
        <source>Glide Reflected</source>
        <translation>Gleitspiegelung</translation>
    </message>
    <message>
        <source>Eightfold Reflected</source>
        <translation>Achtfach gespiegelt</translation>
    </message>
    <message>
        <source>Twelvefold Reflected</source>
        <translation>Zwölffach gespiegelt</translation>
    </message>
    <message>
        <source>Sixfold Reflected</source>
        <translation>Sechsfach gespiegelt</translation>
    </message>
    <message>
        <source>Sixfold Rotated</source>
        <translation>Sechsfach gedreht</translation>
    </message>
    <message>
        <source>Gathering</source>
        <translation>Versammlung</translation>
    </message>
    <message>
        <source>Brushes</source>
        <translation>Pinsel</translation>
    </message>
    <message>
        <source>Spinning Polygons</source>
        <translation>Kreisende Polygone</translation>
    </message>
    <message>
        <source>Atoms</source>
        <translation>Atome</translation>
    </message>
    <message>
        <source>Plasma</source>
        <translation>Plasma</translation>
    </message>
    <message>
        <source>Biology</source>
        <translation>Biologie</translation>
    </message>
    <message>
        <source>Circle Interference</source>
        <translation>Kreisinterferenz</translation>
    </message>
    <message>
        <source>Star Dust</source>
        <translation>Sternenstaub</translation>
    </message>
    <message>
        <source>Color Bars</source>
        <translation>Farbbalken</translation>
    </message>
    <message>
        <source>Divide Lines</source>
        <translation>Teilungslinien</translation>
    </message>
    <message>
        <source>Triangles</source>
        <translation>Dreiecke</translation>
    </message>
    <message>
        <source>Shapes</source>
        <translation>Formen</translation>
    </message>
    <message>
        <source>Spinning Squares</source>
        <translation>Kreisende Quadrate</translation>
    </message>
    <message>
        <source>Flying Lines</source>
        <translation>Fliegende Linien</translation>
    </message>
    <message>
        <source>Spiral</source>
        <translation>Spirale</translation>
    </message>
    <message>
        <source>Radial Distortion</source>
        <translation>Radiale Verzerrung</translation>
    </message>
    <message>
        <source>Sand-Glass</source>
        <translation>Sanduhr</translation>
    </message>
    <message>
        <source>Bricks</source>
        <translation>Ziegel</translation>
    </message>
    <message>
        <source>Hilbert Curve</source>
        <translation>Hilbert-Kurve</translation>
    </message>
    <message>
        <source>Rags</source>
        <translation>Lumpen</translation>
    </message>
    <message>
        <source>Accordion Fold Transition</source>
        <translation>Akkordeon-Übergang</translation>
    </message>
    <message>
        <source>Addition</source>
        <translation>Addition</translation>
    </message>
    <message>
        <source>Area Average</source>
        <translation>Bereichsmittelwert</translation>
    </message>
    <message>
        <source>Area Histogram</source>
        <translation>Bereichshistogramm</translation>
    </message>
    <message>
        <source>Area Maximum</source>
        <translation>Bereichsmaximum</translation>
    </message>
    <message>
        <source>Area Maximum Alpha</source>
        <translation>Bereichsmaximum Alpha</translation>
    </message>
    <message>
        <source>Area Min and Max</source>
        <translation>Bereichsminimum und -maximum</translation>
    </message>
    <message>
        <source>Area Min and Max Red</source>
        <translation>Bereichsminimum und -maximum Rot</translation>
    </message>
    <message>
        <source>Area Minimum</source>
        <translation>Bereichsminimum</translation>
    </message>
    <message>
        <source>Area Minimum Alpha</source>
        <translation>Bereichsminimum Alpha</translation>
    </message>
    <message>
        <source>Bicubic Scale Transform</source>
        <translation>Bikubische Skalierung</translation>
    </message>
    <message>
        <source>Blend With Alpha Mask</source>
        <translation>Mit Alphamaske überblenden</translation>
    </message>
    <message>
        <source>Blend With Blue Mask</source>
        <translation>Mit Blaumaske überblenden</translation>
    </message>
    <message>
        <source>Blend With Red Mask</source>
        <translation>Mit Rotmaske überblenden</translation>
    </message>
    <message>
        <source>Bokeh Blur</source>
        <translation>Bokeh-Unschärfe</translation>
    </message>
    <message>
        <source>Checkerboard</source>
        <translation>Schachbrett</translation>
    </message>
    <message>
        <source>Circle Splash Distortion</source>
        <translation>Kreisspritzer-Verzerrung</translation>
    </message>
    <message>
        <source>Circular Wrap Distortion</source>
        <translation>Kreisförmige Umhüllungsverzerrung</translation>
    </message>
    <message>
        <source>Clamp</source>
        <translation>Begrenzen</translation>
    </message>
    <message>
        <source>Color Absolute Difference</source>
        <translation>Absolute Farbdifferenz</translation>
    </message>
    <message>
        <source>Color Blend Mode</source>
        <translation>Mischmodus Farbe</translation>
    </message>
    <message>
        <source>Color Burn Blend Mode</source>
        <translation>Mischmodus Farbig nachbelichten</translation>
    </message>
    <message>
        <source>Color Clamp</source>
        <translation>Farbbegrenzung</translation>
    </message>
    <message>
        <source>Color Cross Polynomial</source>
        <translation>Farbkreuzpolynom</translation>
    </message>
    <message>
        <source>Color Dodge Blend Mode</source>
        <translation>Mischmodus Farbig abwedeln</translation>
    </message>
    <message>
        <source>Color Polynomial</source>
        <translation>Farbpolynom</translation>
    </message>
    <message>
        <source>Color Threshold</source>
        <translation>Farbschwellenwert</translation>
    </message>
    <message>
        <source>Color Threshold Otsu</source>
        <translation>Farbschwellenwert (Otsu)</translation>
    </message>
    <message>
        <source>Column Average</source>
        <translation>Spaltenmittelwert</translation>
    </message>
    <message>
        <source>3 by 3 Convolution</source>
        <translation>3×3-Faltung</translation>
    </message>
    <message>
        <source>5 by 5 Convolution</source>
        <translation>5×5-Faltung</translation>
    </message>
    <message>
        <source>7 by 7 Convolution</source>
        <translation>7×7-Faltung</translation>
    </message>
    <message>
        <source>Horizontal 9 Convolution</source>
        <translation>Horizontale 9er-Faltung</translation>
    </message>
    <message>
        <source>Vertical 9 Convolution</source>
        <translation>Vertikale 9er-Faltung</translation>
    </message>
    <message>
        <source>3 by 3 RGB Convolution</source>
        <translation>3×3-RGB-Faltung</translation>
    </message>
    <message>
        <source>5 by 5 RGB Convolution</source>
        <translation>5×5-RGB-Faltung</translation>
    </message>
    <message>
        <source>7 by 7 RGB Convolution</source>
        <translation>7×7-RGB-Faltung</translation>
    </message>
    <message>
        <source>Horizontal 9 RGB Convolution</source>
        <translation>Horizontale 9er-RGB-Faltung</translation>
    </message>
    <message>
        <source>Vertical 9 RGB Convolution</source>
        <translation>Vertikale 9er-RGB-Faltung</translation>
    </message>
    <message>
        <source>Darken Blend Mode</source>
        <translation>Mischmodus Abdunkeln</translation>
    </message>
    <message>
        <source>Depth of Field</source>
        <translation>Schärfentiefe</translation>
    </message>
    <message>
        <source>Depth To Disparity</source>
        <translation>Tiefe zu Disparität</translation>
    </message>
    <message>
        <source>Difference Blend Mode</source>
        <translation>Mischmodus Differenz</translation>
    </message>
    <message>
        <source>Disparity To Depth</source>
        <translation>Disparität zu Tiefe</translation>
    </message>
    <message>
        <source>Dither</source>
        <translation>Dithering</translation>
    </message>
    <message>
        <source>Divide Blend Mode</source>
        <translation>Mischmodus Dividieren</translation>
    </message>
    <message>
        <source>Document Enhancer</source>
        <translation>Dokumentverbesserung</translation>
    </message>
    <message>
        <source>Droste</source>
        <translation>Droste-Effekt</translation>
    </message>
    <message>
        <source>Edge Preserve Upsample Filter</source>
        <translation>Kantenerhaltende Hochskalierung</translation>
    </message>
    <message>
        <source>Eightfold Reflected Tile</source>
        <translation>Achtfach gespiegelte Kachel</translation>
    </message>
    <message>
        <source>Exclusion Blend Mode</source>
        <translation>Mischmodus Ausschluss</translation>
    </message>
    <message>
        <source>Fourfold Reflected Tile</source>
        <translation>Vierfach gespiegelte Kachel</translation>
    </message>
    <message>
        <source>Fourfold Rotated Tile</source>
        <translation>Vierfach gedrehte Kachel</translation>
    </message>
    <message>
        <source>Fourfold Translated Tile</source>
        <translation>Vierfach verschobene Kachel</translation>
    </message>
    <message>
        <source>Gabor Gradients</source>
        <translation>Gabor-Gradienten</translation>
    </message>
    <message>
        <source>Glide Reflected Tile</source>
        <translation>Gleitgespiegelte Kachel</translation>
    </message>
    <message>
        <source>Guided Filter</source>
        <translation>Geführter Filter</translation>
    </message>
    <message>
        <source>Hard Light Blend Mode</source>
        <translation>Mischmodus Hartes Licht</translation>
    </message>
    <message>
        <source>Hexagonal Pixelate</source>
        <translation>Sechseckige Verpixelung</translation>
    </message>
    <message>
        <source>Highlight and Shadow Adjust</source>
        <translation>Lichter und Schatten anpassen</translation>
    </message>
    <message>
        <source>Histogram Display</source>
        <translation>Histogrammanzeige</translation>
    </message>
    <message>
        <source>Hue Blend Mode</source>
        <translation>Mischmodus Farbton</translation>
    </message>
    <message>
        <source>KMeans</source>
        <translation>K-Means</translation>
    </message>
    <message>
        <source>Combined Keystone Correction</source>
        <translation>Kombinierte Trapezkorrektur</translation>
    </message>
    <message>
        <source>Horizontal Keystone Correction</source>
        <translation>Horizontale Trapezkorrektur</translation>
    </message>
    <message>
        <source>Vertical Keystone Correction</source>
        <translation>Vertikale Trapezkorrektur</translation>
    </message>
    <message>
        <source>Lab ∆E</source>
        <translation>Lab-∆E</translation>
    </message>
    <message>
        <source>Lanczos Scale Transform</source>
        <translation>Lanczos-Skalierungstransformation</translation>
    </message>
    <message>
        <source>Light Tunnel Distortion</source>
        <translation>Lichttunnel</translation>
    </message>
    <message>
        <source>Lighten Blend Mode</source>
        <translation>Mischmodus Aufhellen</translation>
    </message>
    <message>
        <source>Linear Burn Blend Mode</source>
        <translation>Mischmodus Linear nachbelichten</translation>
    </message>
    <message>
        <source>Linear Dodge Blend Mode</source>
        <translation>Mischmodus Linear abwedeln</translation>
    </message>
    <message>
        <source>Linear Light Blend Mode</source>
        <translation>Mischmodus Lineares Licht</translation>
    </message>
    <message>
        <source>Linear to sRGB Tone Curve</source>
        <translation>Linear zu sRGB-Tonkurve</translation>
    </message>
    <message>
        <source>Luminosity Blend Mode</source>
        <translation>Mischmodus Luminanz</translation>
    </message>
    <message>
        <source>Mask to Alpha</source>
        <translation>Maske in Alpha umwandeln</translation>
    </message>
    <message>
        <source>Masked Variable Blur</source>
        <translation>Maskierte variable Unschärfe</translation>
    </message>
    <message>
        <source>Maximum</source>
        <translation>Maximum</translation>
    </message>
    <message>
        <source>Minimum</source>
        <translation>Minimum</translation>
    </message>
    <message>
        <source>Mix</source>
        <translation>Mischen</translation>
    </message>
    <message>
        <source>Mod</source>
        <translation>Modulo</translation>
    </message>
    <message>
        <source>Morphology Gradient</source>
        <translation>Morphologischer Gradient</translation>
    </message>
    <message>
        <source>Morphology Maximum</source>
        <translation>Morphologisches Maximum</translation>
    </message>
    <message>
        <source>Morphology Minimum</source>
        <translation>Morphologisches Minimum</translation>
    </message>
    <message>
        <source>Morphology Rectangle Maximum</source>
        <translation>Morphologisches Rechteckmaximum</translation>
    </message>
    <message>
        <source>Morphology Rectangle Minimum</source>
        <translation>Morphologisches Rechteckminimum</translation>
    </message>
    <message>
        <source>Multiply Blend Mode</source>
        <translation>Mischmodus Multiplizieren</translation>
    </message>
    <message>
        <source>Multiply</source>
        <translation>Multiplizieren</translation>
    </message>
    <message>
        <source>Nine Part Stretched</source>
        <translation>Neunteilig gestreckt</translation>
    </message>
    <message>
        <source>Nine Part Tiled</source>
        <translation>Neunteilig gekachelt</translation>
    </message>
    <message>
        <source>Overlay Blend Mode</source>
        <translation>Mischmodus Ineinanderkopieren</translation>
    </message>
    <message>
        <source>Page Curl With Shadow</source>
        <translation>Seite umblättern mit Schatten</translation>
    </message>
    <message>
        <source>Palette Centroid</source>
        <translation>Paletten-Schwerpunkt</translation>
    </message>
    <message>
        <source>Palettize</source>
        <translation>Palettieren</translation>
    </message>
    <message>
        <source>Person Segmentation</source>
        <translation>Personensegmentierung</translation>
    </message>
    <message>
        <source>Perspective Correction</source>
        <translation>Perspektivkorrektur</translation>
    </message>
    <message>
        <source>Perspective Rotate</source>
        <translation>Perspektivische Drehung</translation>
    </message>
    <message>
        <source>Perspective Transform with Extent</source>
        <translation>Perspektivische Transformation mit Ausdehnung</translation>
    </message>
    <message>
        <source>Photo Effect Chrome</source>
        <translation>Fotoeffekt Chrom</translation>
    </message>
    <message>
        <source>Photo Effect Fade</source>
        <translation>Fotoeffekt Verblassen</translation>
    </message>
    <message>
        <source>Photo Effect Instant</source>
        <translation>Fotoeffekt Sofortbild</translation>
    </message>
    <message>
        <source>Photo Effect Mono</source>
        <translation>Fotoeffekt Mono</translation>
    </message>
    <message>
        <source>Photo Effect Noir</source>
        <translation>Fotoeffekt Noir</translation>
    </message>
    <message>
        <source>Photo Effect Process</source>
        <translation>Fotoeffekt Entwicklung</translation>
    </message>
    <message>
        <source>Photo Effect Tonal</source>
        <translation>Fotoeffekt Tonal</translation>
    </message>
    <message>
        <source>Photo Effect Transfer</source>
        <translation>Fotoeffekt Transfer</translation>
    </message>
    <message>
        <source>Pin Light Blend Mode</source>
        <translation>Mischmodus Lichtpunkt</translation>
    </message>
    <message>
        <source>Pixelate</source>
        <translation>Verpixelung</translation>
    </message>
    <message>
        <source>Rounded Rectangle Generator</source>
        <translation>Abgerundetes Rechteck</translation>
    </message>
    <message>
        <source>Row Average</source>
        <translation>Zeilenmittelwert</translation>
    </message>
    <message>
        <source>sRGB Tone Curve to Linear</source>
        <translation>sRGB-Tonkurve zu Linear</translation>
    </message>
    <message>
        <source>Saliency Map Filter</source>
        <translation>Salienzkarte</translation>
    </message>
    <message>
        <source>Sample Nearest</source>
        <translation>Nächster Nachbar</translation>
    </message>
    <message>
        <source>Saturation Blend Mode</source>
        <translation>Mischmodus Sättigung</translation>
    </message>
    <message>
        <source>Screen Blend Mode</source>
        <translation>Mischmodus Negativ multiplizieren</translation>
    </message>
    <message>
        <source>Shaded Material</source>
        <translation>Schattiertes Material</translation>
    </message>
    <message>
        <source>Sixfold Reflected Tile</source>
        <translation>Sechsfach gespiegelte Kachel</translation>
    </message>
    <message>
        <source>Sixfold Rotated Tile</source>
        <translation>Sechsfach gedrehte Kachel</translation>
    </message>
    <message>
        <source>Smooth Linear Gradient</source>
        <translation>Weicher linearer Verlauf</translation>
    </message>
    <message>
        <source>Soft Light Blend Mode</source>
        <translation>Mischmodus Weiches Licht</translation>
    </message>
    <message>
        <source>Source Atop</source>
        <translation>Quelle oben auf</translation>
    </message>
    <message>
        <source>Source In</source>
        <translation>Quelle in</translation>
    </message>
    <message>
        <source>Source Out</source>
        <translation>Quelle außerhalb</translation>
    </message>
    <message>
        <source>Source Over</source>
        <translation>Quelle über</translation>
    </message>
    <message>
        <source>Star Shine</source>
        <translation>Sternenschein</translation>
    </message>
    <message>
        <source>Straighten</source>
        <translation>Gerade ausrichten</translation>
    </message>
    <message>
        <source>Stretch Crop</source>
        <translation>Strecken und zuschneiden</translation>
    </message>
    <message>
        <source>Subtract Blend Mode</source>
        <translation>Mischmodus Subtrahieren</translation>
    </message>
    <message>
        <source>Temperature and Tint</source>
        <translation>Temperatur und Tönung</translation>
    </message>
    <message>
        <source>Thermal</source>
        <translation>Wärmebild</translation>
    </message>
    <message>
        <source>Tone Curve</source>
        <translation>Tonkurve</translation>
    </message>
    <message>
        <source>Torus Lens Distortion</source>
        <translation>Toruslinsen-Verzerrung</translation>
    </message>
    <message>
        <source>Triangle Kaleidoscope</source>
        <translation>Dreieckskaleidoskop</translation>
    </message>
    <message>
        <source>Twelvefold Reflected Tile</source>
        <translation>Zwölffach gespiegelte Kachel</translation>
    </message>
    <message>
        <source>Vibrance</source>
        <translation>Dynamik</translation>
    </message>
    <message>
        <source>Vignette</source>
        <translation>Vignette</translation>
    </message>
    <message>
        <source>Vignette Effect</source>
        <translation>Vignetteneffekt</translation>
    </message>
    <message>
        <source>Vivid Light Blend Mode</source>
        <translation>Mischmodus Strahlendes Licht</translation>
    </message>
    <message>
        <source>X-Ray</source>
        <translation>Röntgen</translation>
    </message>
    <message>
        <source>Sobel Filter</source>
        <translation>Sobel-Filter</translation>
    </message>
    <message>
        <source>Bi-Color Filter</source>
        <translation>Zweifarbfilter</translation>
    </message>
    <message>
        <source>Mirror Filter</source>
        <translation>Spiegeln</translation>
    </message>
    <message>
        <source>Mirror Tile Filter</source>
        <translation>Spiegelkacheln</translation>
    </message>
    <message>
        <source>Slide Frame Filter</source>
        <translation>Diarahmen</translation>
    </message>
    <message>
        <source>Net Distortion Filter</source>
        <translation>Netzverzerrungsfilter</translation>
    </message>
    <message>
        <source>Offset Filter</source>
        <translation>Versatz</translation>
    </message>
    <message>
        <source>Affine Tile2 Filter</source>
        <translation>Affine Kachel 2</translation>
    </message>
    <message>
        <source>Shading Filter</source>
        <translation>Schattierung</translation>
    </message>
    <message>
        <source>Color Range</source>
        <translation>Farbbereich</translation>
    </message>
    <message>
        <source>Pictures</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>Commands</source>
        <translation>Befehle</translation>
    </message>
    <message>
        <source>Title</source>
        <translation>Titel</translation>
    </message>
    <message>
        <source>Select Image</source>
        <translation>Bild auswählen</translation>
    </message>
    <message>
        <source>Images</source>
        <translation>Bilder</translation>
    </message>
    <message>
        <source>Picture</source>
        <translation>Bild</translation>
    </message>
    <message>
        <source>Choose Image…</source>
        <translation>Bild auswählen…</translation>
    </message>
    <message>
        <source>Paste</source>
        <translation>Einsetzen</translation>
    </message>
    <message>
        <source>Clear Recent Pictures</source>
        <translation>Letzte Bilder löschen</translation>
    </message>
    <message>
        <source>Image Size</source>
        <translation>Bildgröße</translation>
    </message>
    <message>
        <source>Width:</source>
        <translation>Breite:</translation>
    </message>
    <message>
        <source>Height:</source>
        <translation>Höhe:</translation>
    </message>
    <message>
        <source>Width</source>
        <translation>Breite</translation>
    </message>
    <message>
        <source>Height</source>
        <translation>Höhe</translation>
    </message>
    <message>
        <source>Width Units</source>
        <translation>Einheit der Breite</translation>
    </message>
    <message>
        <source>Height Units</source>
        <translation>Einheit der Höhe</translation>
    </message>
    <message>
        <source>pixels</source>
        <translation>Pixel</translation>
    </message>
    <message>
        <source>percent</source>
        <translation>Prozent</translation>
    </message>
    <message>
        <source>Constrain Proportions</source>
        <translation>Proportionen beibehalten</translation>
    </message>
    <message>
        <source>Make Thumbnail</source>
        <translation>Miniatur erstellen</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Abbrechen</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>OK</translation>
        <source>Center</source>
        <translation>Mittelpunkt</translation>
    </message>
    <message>
        <source>Skew</source>
        <translation>Scherung</translation>
    </message>
    <message>
        <source>Stretch</source>
        <translation>Streckung</translation>
    </message>
    <message>
        <source>Angle</source>
        <translation>Winkel</translation>
    </message>
    <message>
        <source>Scale</source>
        <translation>Skalierung</translation>
    </message>
    <message>
        <source>Time</source>
        <translation>Zeit</translation>
    </message>
    <message>
        <source>Open...</source>
        <translation>Öffnen …</translation>
    </message>
    <message>
        <source>CIF Effects needs an image and one of its layers.</source>
        <translation>CIF Effects braucht ein Bild und eine seiner Ebenen.</translation>
    </message>
    <message>
        <source>CIF Effects works on RGB and greyscale images; turn an indexed image into RGB first (Image &gt; Mode &gt; RGB).</source>
        <translation>CIF Effects arbeitet mit RGB- und Graustufenbildern; wandeln Sie ein indiziertes Bild zuerst in RGB um (Bild &gt; Modus &gt; RGB).</translation>
    </message>
    <message>
        <source>The layer is too large for CIF Effects (at most 30000 pixels a side and 256 megapixels).</source>
        <translation>Die Ebene ist zu groß für CIF Effects (höchstens 30000 Pixel je Seite und 256 Megapixel).</translation>
    </message>
    <message>
        <source>There is no CIF effect to repeat yet.</source>
        <translation>Es gibt noch keinen CIF-Effekt zum Wiederholen.</translation>
    </message>
    <message>
        <source>'%1' is a generator; use File &gt; Create &gt; CIF Generator.</source>
        <translation>„%1“ ist ein Generator; verwenden Sie Datei &gt; Erstellen &gt; CIF Generator.</translation>
    </message>
    <message>
        <source>Unknown effect '%1'.</source>
        <translation>Unbekannter Effekt „%1“.</translation>
    </message>
    <message>
        <source>The layer's pixels cannot be read.</source>
        <translation>Die Pixel der Ebene lassen sich nicht lesen.</translation>
    </message>
    <message>
        <source>'%1' gave no picture.</source>
        <translation>„%1“ hat kein Bild geliefert.</translation>
    </message>
    <message>
        <source>The CIF Effects editor needs a display.</source>
        <translation>Der Editor von CIF Effects braucht eine Anzeige.</translation>
    </message>
    <message>
        <source>A generated picture needs a size from 1 x 1 to 30000 x 30000 pixels (256 megapixels at most).</source>
        <translation>Ein erzeugtes Bild braucht eine Größe von 1 x 1 bis 30000 x 30000 Pixel (höchstens 256 Megapixel).</translation>
    </message>
    <message>
        <source>There is no CIF generator to repeat yet.</source>
        <translation>Es gibt noch keinen CIF-Generator zum Wiederholen.</translation>
    </message>
    <message>
        <source>Unknown generator '%1'.</source>
        <translation>Unbekannter Generator „%1“.</translation>
    </message>
    <message>
        <source>CIF Generator</source>
        <translation>CIF Generator</translation>
    </message>
    <message>
        <source>The generated picture cannot be drawn.</source>
        <translation>Das erzeugte Bild lässt sich nicht zeichnen.</translation>
    </message>
    <message>
        <source>GIMP cannot make a new image.</source>
        <translation>GIMP kann kein neues Bild anlegen.</translation>
    </message>
    <message>
        <source>GIMP cannot make a new layer.</source>
        <translation>GIMP kann keine neue Ebene anlegen.</translation>
    </message>
    <message>
        <source>The parameters are not valid JSON: %1</source>
        <translation>Die Parameter sind kein gültiges JSON: %1</translation>
    </message>
    <message>
        <source>The parameters must be a JSON object.</source>
        <translation>Die Parameter müssen ein JSON-Objekt sein.</translation>
    </message>
    <message>
        <source>The parameter '%1' needs %2.</source>
        <translation>Der Parameter „%1“ braucht %2.</translation>
    </message>
    <message>
        <source>the path of a picture file</source>
        <translation>den Pfad einer Bilddatei</translation>
    </message>
    <message>
        <source>The parameter '%1': %2</source>
        <translation>Der Parameter „%1“: %2</translation>
    </message>
    <message>
        <source>a number</source>
        <translation>eine Zahl</translation>
    </message>
    <message>
        <source>a colour: [r, g, b, a] from 0 to 1 or "#rrggbb"</source>
        <translation>eine Farbe: [r, g, b, a] von 0 bis 1 oder "#rrggbb"</translation>
    </message>
    <message>
        <source>an array of numbers</source>
        <translation>eine Liste von Zahlen</translation>
    </message>
    <message>
        <source>six numbers [m11, m12, m21, m22, dx, dy]</source>
        <translation>sechs Zahlen [m11, m12, m21, m22, dx, dy]</translation>
    </message>
    <message>
        <source>a value of the input's kind</source>
        <translation>einen Wert von der Art der Eingabe</translation>
    </message>
    <message>
        <source>true or false</source>
        <translation>true oder false</translation>
    </message>
    <message>
        <source>a whole number</source>
        <translation>eine ganze Zahl</translation>
    </message>
    <message>
        <source>an object</source>
        <translation>ein Objekt</translation>
    </message>
    <message>
        <source>'%1' has no parameter '%2'.</source>
        <translation>„%1“ hat keinen Parameter „%2“.</translation>
    </message>
    <message>
        <source>a whole number from 0 to 2147483647</source>
        <translation>eine ganze Zahl von 0 bis 2147483647</translation>
    </message>
    <message>
        <source>CIF Effects works on one layer; pick a layer inside the group.</source>
        <translation>CIF Effects arbeitet mit einer Ebene; wählen Sie eine Ebene in der Gruppe.</translation>
    </message>
    <message>
        <source>Wrap</source>
        <translation>Umbruch</translation>
    </message>
    <message>
        <source>Skew:</source>
        <translation>Scherung:</translation>
    </message>
    <message>
        <source>Stretch:</source>
        <translation>Streckung:</translation>
    </message>
    <message>
        <source>Angle:</source>
        <translation>Winkel:</translation>
    </message>
    <message>
        <source>Scale:</source>
        <translation>Skalierung:</translation>
    </message>
</context>
</TS>
