-- What differs between a document in the repository and its page: links to other documents lead to
-- their pages, pictures lie beside them, the heading is the title, and what is too wide scrolls by
-- itself.
--
-- Metadata: `place`, the document's path from the root of the repository, and `pages`, a list of the
-- paths of all documents that become pages.

local place, pages = '', {}

-- The page of a document, the last part of its path in small letters; READMEs are told apart.
local function page_of(path)
  local special = { ['README.md'] = 'readme.html', ['examples/README.md'] = 'examples.html' }
  return special[path] or path:match('([^/]+)%.md$'):lower() .. '.html'
end

-- `target`, as it is written in the document at `place`, from the root of the repository.
local function from_root(target)
  local parts = {}
  for part in ((place:match('^(.*/)') or '') .. target):gmatch('[^/]+') do
    if part == '..' then
      table.remove(parts)
    elseif part ~= '.' then
      table.insert(parts, part)
    end
  end
  return table.concat(parts, '/')
end

local function read_metadata(meta)
  place = pandoc.utils.stringify(meta.place)
  for path in pandoc.utils.stringify(meta.pages):gmatch('%S+') do
    pages[path] = true
  end
end

local function lead_to_page(link)
  if link.target:match('^%a+:') or link.target:match('^#') then
    return nil
  end
  local target, anchor = link.target:match('^([^#]*)(.*)$')
  local path = from_root(target)
  if pages[path] then
    link.target = page_of(path) .. anchor
    return link
  end
  io.stderr:write(place .. ': ' .. link.target .. ' is no page\n')
  os.exit(1)
end

-- Pictures lie beside the pages.
local function beside_page(image)
  image.src = image.src:match('[^/]+$')
  return image
end

local function in_frame(element)
  -- The widths of columns that pandoc derives from the source say nothing.
  for _, column in ipairs(element.colspecs) do
    column[2] = nil
  end
  return pandoc.Div({ element }, pandoc.Attr('', { 'table' }))
end

-- A short word of code is not broken at its hyphens.
local function keep_together(code)
  if #code.text <= 24 and not code.text:match('%s') then
    code.classes:insert('word')
    return code
  end
end

-- The heading stands above the list of sections, which only a long page has.
local function take_heading(document)
  local sections = 0
  for at, block in ipairs(document.blocks) do
    if block.t == 'Header' and block.level == 1 then
      local title = pandoc.utils.stringify(block)
      document.meta.pagetitle = title == 'mos' and title or title .. ' · mos'
      document.meta.heading = pandoc.MetaInlines(block.content)
      document.meta.headingid = block.identifier
      document.blocks:remove(at)
      break
    end
  end
  for _, block in ipairs(document.blocks) do
    if block.t == 'Header' and block.level == 2 then
      sections = sections + 1
    end
  end
  document.meta.sections = sections > 2
  return document
end

return {
  { Meta = read_metadata },
  { Link = lead_to_page, Image = beside_page, Table = in_frame, Code = keep_together },
  { Pandoc = take_heading },
}
