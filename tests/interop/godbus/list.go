// The list of a partner.
package main

func find(items []item, id string) int {
	for i := range items {
		if items[i].id == id {
			return i
		}
	}
	return -1
}

// add appends the items with a new id. The first whole list contains all earlier items.
func (p *partner) add(items []item) {
	added, known, isWhole := map[string]bool{}, map[string]bool{}, p.awaitsList
	for _, one := range items {
		added[one.id] = true
	}
	for _, one := range p.items {
		known[one.id] = true
		isWhole = isWhole && added[one.id]
	}
	if isWhole {
		p.items, p.awaitsList, known = nil, false, map[string]bool{}
	}
	for _, one := range items {
		if !known[one.id] {
			known[one.id] = true
			p.items = append(p.items, one)
		}
	}
}

// replace puts at most one item in the place of the first item with an id.
func (p *partner) replace(id string, items []item) {
	i := find(p.items, id)
	if i < 0 {
		return
	}
	if p.selection != nil && p.selection.id == id {
		p.selection = nil
		if len(items) > 0 {
			p.selection = &items[0]
		}
	}
	p.items = append(append(append([]item{}, p.items[:i]...), items...), p.items[i+1:]...)
}
