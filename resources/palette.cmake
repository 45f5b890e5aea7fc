# The colours of the look (docs/look.md), each written once: the style sheets name them as @name@.
set(paper        "#ffffff") # pages, fields, tables, menus, text on blue
set(window       "#f3f5f8") # ground of windows and dialogs
set(card         "#fafafa") # groups of settings
set(stripe       "#f7f9fb") # every other table row
set(dull         "#eef1f4") # table headers, whatever is disabled
set(hover        "#e6edf4") # under the pointer
set(pressed      "#d5e0eb") # while pressed
set(line         "#dde3ea") # separators, grids, card edges
set(faint_edge   "#c3ccd6") # frames of disabled controls, menus
set(edge         "#7e8c9c") # frames of fields, buttons and check boxes; scroll bar handles
set(ink          "#1d2b3a") # text, ground of tool tips
set(deep_ink     "#10202f") # text of the selected row and on a progress bar
set(muted        "#5f6b78") # hints, footer, disabled text
set(blue         "#0b62a8") # focus ring, ticks, the main action
set(blue_hover   "#0a5593") # main action under the pointer
set(blue_pressed "#08426f") # main action pressed or focused
set(light_ring   "#8cc9ff") # focus ring on blue, splitter under the pointer
set(progress     "#3d8fd9") # filled part of a progress bar
set(blue_text    "#0a4d85") # text on a tint
set(tint         "#dcebf8") # chosen page, chosen menu entry, default button
set(tint_hover   "#cbe1f4") # the same under the pointer; the selected row
set(tint_pressed "#b3d3ee") # default button pressed
set(red          "#b3261e") # error texts, frame of a wrong value
set(blush        "#fdf1f0") # ground of a wrong value

# Drawn by src/widgets/cellmarks.h only, which writes red, blush and blue for itself too.
set(amber        "#b26a00") # frame of a shared address; never text
set(cream        "#fdf3e3") # ground of a shared address
